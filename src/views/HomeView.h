#pragma once

#include <QWidget>

class HomeModel;
class OutlineButtonStyle;
class PrimaryButtonStyle;
class QLineEdit;
class StatusRow;
class ThemedLabel;
class ThemedSwitch;

// The home window's content: the account, shortcut, accessibility and voice rows with the buttons that
// fix them, the auto-insert switch, a one-line self test and the main actions.
class HomeView : public QWidget
{
    Q_OBJECT
public:
    static constexpr int fixedWidth = 520;

    explicit HomeView(HomeModel& model, QWidget* parent = nullptr);

    // Rows the application adds for its desktop, placed above the main actions.
    void addSection(QWidget* section);

signals:
    void pairRequested();
    void askRequested();
    void settingsRequested();
    void signInRequested();
    void signOutRequested();
    void quitRequested();
    void changeShortcutRequested();

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* makeHeader();
    QWidget* makeStatus();
    QWidget* makeAutoInsert();
    QWidget* makeTest();
    QWidget* makeFooter();
    void showStatus();
    void showTest();
    void showAccountActions();
    void localize();
    void fitWindow();

    HomeModel& m_model;
    StatusRow* m_account = nullptr;
    StatusRow* m_hotKey = nullptr;
    StatusRow* m_accessibility = nullptr;
    StatusRow* m_voice = nullptr;
    ThemedSwitch* m_autoInsert = nullptr;
    QLineEdit* m_testInput = nullptr;
    PrimaryButtonStyle* m_ask = nullptr;
    ThemedLabel* m_testOutput = nullptr;
    ThemedLabel* m_instructions = nullptr;
    PrimaryButtonStyle* m_openPanel = nullptr;
    OutlineButtonStyle* m_addPhone = nullptr;
    OutlineButtonStyle* m_signOut = nullptr;
};
