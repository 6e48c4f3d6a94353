#pragma once

#include <QColor>
#include <QEasingCurve>
#include <QObject>
#include <QPalette>
#include <optional>

class QDBusMessage;
class QWidget;

// The shared colours and motion of every window and of the panel. Colours have a light and a dark
// variant; which one is in force follows the desktop while the application runs.
namespace Theme {
Q_NAMESPACE

enum class Appearance { Light, Dark };
Q_ENUM_NS(Appearance)
enum class Role { Card, Muted, MutedForeground, Foreground, Border, Primary, PrimaryForeground, Destructive };

// A colour of the given appearance.
QColor colour(Role role, Appearance appearance);
// The appearance in force and its colours.
Appearance appearance();
QColor card();
QColor muted();
QColor mutedForeground();
QColor foreground();
QColor border();
QColor primary();
QColor primaryForeground();
QColor destructive();

// A standard widget palette made of the theme's colours, for labels, fields and scroll bars.
QPalette palette(Appearance appearance);
// Gives the window the theme's palette now and again at every switch, and repaints it, so that
// standard and custom-painted children change together.
void follow(QWidget* window);

// The spring every change of state moves with: response 0.4 s, damping fraction 0.88.
QEasingCurve spring();
// How long the spring takes to come to rest, in milliseconds.
constexpr int springDurationMs = 500;

// Follows the desktop's colour scheme: the settings portal's "color-scheme" where a portal answers
// with a preference, else the lightness of the application palette's window colour.
class Watcher : public QObject
{
    Q_OBJECT
    Q_PROPERTY(Theme::Appearance appearance READ appearance NOTIFY appearanceChanged)
public:
    static Watcher& shared();

    Appearance appearance() const { return m_appearance; }

signals:
    void appearanceChanged();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    Watcher();
    void askPortal();
    void update();
    // QDBusConnection::connect names its receiver by signature only.
    Q_SLOT void portalSettingChanged(const QDBusMessage& message);
    void takePortalScheme(const QVariant& value);

    std::optional<Appearance> m_portalChoice;
    Appearance m_appearance = Appearance::Light;
};

} // namespace Theme
