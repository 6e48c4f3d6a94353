#pragma once

#include <QWidget>

class ThemedLabel;
class ThemedSwitch;

// The home window's rows that belong to this desktop: "Start at login" and, where no status icon can
// show, how to reach what the status menu offers.
class DesktopOptionsView : public QWidget
{
    Q_OBJECT
public:
    static inline const QString noTrayNote =
        QStringLiteral("This desktop shows no status icon. Start Tavrin again to bring this window back; "
                       "⌥⇧Space replies to copied text; ⌘Q quits.");

    explicit DesktopOptionsView(bool trayAvailable, QWidget* parent = nullptr);

private:
    void showNote();
    void startAtLoginToggled(bool enabled);

    ThemedSwitch* m_startAtLogin;
    ThemedLabel* m_autostartProblem;
    ThemedLabel* m_note;
};
