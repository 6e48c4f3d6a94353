#pragma once

#include "app/AskShortcuts.h"
#include "app/HotKeyGestures.h"
#include "app/InstanceChannel.h"
#include "app/PanelPresenter.h"
#include "app/StatusMenu.h"

#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>
#include <QTimer>
#include <memory>

class AccessibilitySwitch;
class DesktopPlatform;
class FloatingWindowPlatform;
class AgentPanel;
class BrowserSignIn;
class ConfigWatcher;
class HomeModel;
class QMenu;
class QWidget;
class Session;
class VoiceCheck;
struct AgentConfig;

// The root of the desktop application: owns the session, the panel, the shortcuts, the status item
// and its menu, and the windows, for the life of the process.
class AppDelegate : public QObject, public PanelPresenter, public StatusMenuActions
{
    Q_OBJECT
public:
    explicit AppDelegate(QObject* parent = nullptr);
    ~AppDelegate() override;

    // Everything the application does at start, in order; the home window is shown at the end.
    void launch();
    // A request handed over by a later start of the program.
    void handle(const InstanceMessage& message);

    void showPanel(bool makeKey) override;

    void askFromMenu() override;
    void replyFromMenu() override;
    void toggleAutoInsert() override;
    void showHome() override;
    void openSettings() override;
    void openHistory() override;
    void showPair() override;
    void signOut() override;
    void showSignIn() override;
    void grantAccessibility() override;
    void quit() override;
    // "Change…" of the home window's shortcut row.
    void changeShortcut();

    Session& session() { return *m_session; }
    QWidget* panel() const;
    HomeModel& home() { return *m_home; }
    QMenu* menu() const { return m_menu.get(); }
    QWidget* signInWindow() const { return m_signInWindow.get(); }

signals:
    void menuRebuilt();

private:
    void createStatusItem();
    // Asks for the menu's items to be built afresh once control is back in the event loop, since the
    // change may come from one of those items.
    void rebuildMenu();
    void buildMenu();
    void createPanel();
    void installShortcuts();
    void signedIn(const AgentConfig& config);
    void configurationChanged();
    std::unique_ptr<QWidget> makeWindow(QWidget* content, const QString& title, bool minimizable);
    static void bringForward(QWidget* window);

    std::unique_ptr<DesktopPlatform> m_desktop;
    std::unique_ptr<AccessibilitySwitch> m_accessibilitySwitch;
    std::unique_ptr<VoiceCheck> m_voiceCheck;
    std::unique_ptr<Session> m_session;
    std::unique_ptr<HomeModel> m_home;
    std::unique_ptr<FloatingWindowPlatform> m_windowManager;
    std::unique_ptr<AgentPanel> m_panel;
    AskShortcuts m_shortcuts;
    HotKeyGestures m_gestures;
    std::unique_ptr<ConfigWatcher> m_watcher;
    std::unique_ptr<BrowserSignIn> m_browserSignIn;
    QSystemTrayIcon m_tray;
    std::unique_ptr<QMenu> m_menu;
    QTimer m_menuRebuild;
    std::unique_ptr<QWidget> m_homeWindow;
    std::unique_ptr<QWidget> m_signInWindow;
    QPointer<QWidget> m_pairWindow;
};
