#pragma once

#include <QWidget>
#include <functional>

class QCheckBox;
class QLabel;

// The home window's rows that belong to this desktop: the shortcut in force with "Change…", "Start at
// login", and, where no status icon can show, how to reach what the status menu offers.
class DesktopOptionsView : public QWidget
{
    Q_OBJECT
public:
    static inline const QString noTrayNote =
        QStringLiteral("This desktop shows no status icon. Start Tavrin again to bring this window back; "
                       "⌥⇧Space replies to copied text; ⌘Q quits.");

    DesktopOptionsView(bool trayAvailable, std::function<void()> onChangeShortcut, QWidget* parent = nullptr);

private:
    void showShortcut();
    void startAtLoginToggled(bool enabled);
    void recolour();

    QLabel* m_shortcut;
    QLabel* m_note;
    QCheckBox* m_startAtLogin;
    QLabel* m_autostartProblem;
};
