#include "app/AppDelegate.h"

#include "app/AgentPanel.h"
#include "app/BrowserSignIn.h"
#include "app/ConfigWatcher.h"
#include "app/DesktopOptionsView.h"
#include "app/ShortcutRecorder.h"
#include "app/WebPages.h"
#include "config/AgentConfig.h"
#include "config/Preferences.h"
#include "desktop/DesktopPlatform.h"
#include "desktop/Dictation.h"
#include "desktop/FloatingWindowPlatform.h"
#include "platform/BusAccessibilitySwitch.h"
#include "platform/MicrophonePortal.h"
#include "platform/Platform.h"
#include "platform/SystemVoiceCheck.h"
#include "service/AuthClient.h"
#include "session/Session.h"
#include "views/HomeModel.h"
#include "views/HomeView.h"
#include "views/PairModel.h"
#include "views/PairView.h"
#include "views/SignInModel.h"
#include "views/SignInView.h"
#include "views/Theme.h"

#include <QApplication>
#include <QDesktopServices>
#include <QMenu>
#include <QScreen>
#include <QShortcut>
#include <QVBoxLayout>

namespace {

QIcon trayIcon()
{
    // The mark in the colour that stands out on the panel of the appearance in force.
    return QIcon(Theme::appearance() == Theme::Appearance::Dark
                     ? QStringLiteral(":/icons/tavrin-tray-dark.svg")
                     : QStringLiteral(":/icons/tavrin-tray-light.svg"));
}

} // namespace

AppDelegate::AppDelegate(QObject* parent)
    : QObject(parent), m_desktop(Platform::createDesktop()),
      m_accessibilitySwitch(std::make_unique<BusAccessibilitySwitch>()),
      m_voiceCheck(std::make_unique<SystemVoiceCheck>(SystemVoiceCheck::defaultModelDir(),
                                                      MicrophonePortal::forThisProcess())),
      m_session(std::make_unique<Session>(*m_desktop, Platform::createDictation(), &Preferences::autoInsert)),
      m_home(std::make_unique<HomeModel>(*m_accessibilitySwitch, *m_voiceCheck)),
      m_shortcuts(m_desktop->hotKeys()), m_gestures(*m_session, *this),
      m_browserSignIn(std::make_unique<BrowserSignIn>()), m_menu(std::make_unique<QMenu>())
{
    // Closing every window leaves the agent running; only Quit ends it.
    QApplication::setQuitOnLastWindowClosed(false);
    m_menuRebuild.setSingleShot(true);
    m_menuRebuild.setInterval(0);
    connect(&m_menuRebuild, &QTimer::timeout, this, &AppDelegate::buildMenu);
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::launch()
{
    m_session->setConfig(AgentConfig::load());
    m_session->setOnClose([self = QPointer(this)] {
        if (self && self->m_panel)
            self->m_panel->hide();
    });
    createStatusItem();
    buildMenu();
    createPanel();
    installShortcuts();
    m_watcher = std::make_unique<ConfigWatcher>(*m_session);
    connect(m_watcher.get(), &ConfigWatcher::configReplaced, this, &AppDelegate::configurationChanged);
    connect(&Preferences::shared(), &Preferences::didChange, this, &AppDelegate::rebuildMenu);
    // The menu's accessibility line follows what the home model last read.
    connect(m_home.get(), &HomeModel::accessibilityChanged, this, &AppDelegate::rebuildMenu);
    connect(qApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        // The panel taking the keyboard is not the user coming back to the application.
        if (state == Qt::ApplicationActive && QApplication::activeWindow() != m_panel.get())
            m_home->refresh();
    });
    showHome();
    if (!m_session->config())
        showSignIn();
    // There is no system prompt for accessibility here: the home window's row shows the state and offers
    // to turn it on, so nothing changes behind the user's back.
    m_session->dictation().requestPermissions(this, [this](bool) { m_home->refresh(); });
}

void AppDelegate::createStatusItem()
{
    m_tray.setIcon(trayIcon());
    m_tray.setToolTip(QStringLiteral("Tavrin"));
    connect(&Theme::Watcher::shared(), &Theme::Watcher::appearanceChanged, this,
            [this] { m_tray.setIcon(trayIcon()); });
    // A click opens the menu, as a status item does; the context menu comes by itself.
    connect(&m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            m_menu->popup(QCursor::pos());
    });
    m_tray.setContextMenu(m_menu.get());
    m_tray.show();
}

void AppDelegate::rebuildMenu()
{
    m_menuRebuild.start();
}

void AppDelegate::buildMenu()
{
    StatusMenuState state;
    state.config = m_session->config();
    state.autoInsert = Preferences::autoInsert();
    state.accessibilityGranted = m_home->accessibility();
    StatusMenu::fill(*m_menu, state, *this, this);
    emit menuRebuilt();
}

void AppDelegate::createPanel()
{
    m_windowManager = Platform::createFloatingWindows();
    m_panel = std::make_unique<AgentPanel>(*m_session, *m_windowManager);
}

void AppDelegate::installShortcuts()
{
    connect(&m_shortcuts, &AskShortcuts::askPressed, &m_gestures, &HotKeyGestures::askPressed);
    connect(&m_shortcuts, &AskShortcuts::askReleased, &m_gestures, &HotKeyGestures::askReleased);
    connect(&m_shortcuts, &AskShortcuts::replyPressed, &m_gestures, &HotKeyGestures::replyToClipboard);
    m_shortcuts.install(QKeySequence::fromString(Preferences::askShortcut(), QKeySequence::PortableText));
    // Only the ask shortcut is reported; the reply shortcut follows it.
    m_home->setHotKeyOK(m_shortcuts.isRegistered());
    connect(&m_shortcuts, &AskShortcuts::shortcutChanged, this,
            [this] { m_home->setHotKeyOK(m_shortcuts.isRegistered()); });
}

void AppDelegate::handle(const InstanceMessage& message)
{
    switch (message.kind) {
    case InstanceMessage::Kind::ShowHome:
        showHome();
        return;
    case InstanceMessage::Kind::OpenPanel:
        m_gestures.tap();
        return;
    case InstanceMessage::Kind::Reply:
        m_gestures.replyToClipboard();
        return;
    case InstanceMessage::Kind::OpenUrl:
        m_browserSignIn->deliver(message.url);
        return;
    }
}

QWidget* AppDelegate::panel() const
{
    return m_panel.get();
}

void AppDelegate::showPanel(bool makeKey)
{
    m_panel->showPanel(makeKey);
}

void AppDelegate::askFromMenu()
{
    m_gestures.askForTyping();
}

void AppDelegate::replyFromMenu()
{
    m_gestures.replyToClipboard();
}

void AppDelegate::toggleAutoInsert()
{
    Preferences::setAutoInsert(!Preferences::autoInsert());
}

std::unique_ptr<QWidget> AppDelegate::makeWindow(QWidget* content, const QString& title, bool minimizable)
{
    auto window = std::make_unique<QWidget>(
        nullptr, Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
                     (minimizable ? Qt::WindowMinimizeButtonHint : Qt::Widget));
    window->setWindowTitle(title);
    auto* layout = new QVBoxLayout(window.get());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(content);
    // Not resizable: the window is the size its view asks for.
    layout->setSizeConstraint(QLayout::SetFixedSize);
    Theme::follow(window.get());
    window->adjustSize();
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    window->move(screen.center() - window->rect().center());
    return window;
}

void AppDelegate::bringForward(QWidget* window)
{
    window->show();
    window->raise();
    window->activateWindow();
}

void AppDelegate::showHome()
{
    if (!m_homeWindow) {
        auto* home = new HomeView(*m_home);
        connect(home, &HomeView::pairRequested, this, &AppDelegate::showPair);
        connect(home, &HomeView::askRequested, this, &AppDelegate::askFromMenu);
        connect(home, &HomeView::settingsRequested, this, &AppDelegate::openSettings);
        connect(home, &HomeView::signInRequested, this, &AppDelegate::showSignIn);
        connect(home, &HomeView::signOutRequested, this, &AppDelegate::signOut);
        connect(home, &HomeView::quitRequested, this, &AppDelegate::quit);
        connect(home, &HomeView::changeShortcutRequested, this, &AppDelegate::changeShortcut);
        home->addSection(new DesktopOptionsView(QSystemTrayIcon::isSystemTrayAvailable()));
        m_homeWindow = makeWindow(home, QStringLiteral("Tavrin"), true);
        // Ctrl+Q quits from the home window as it does from the menu.
        auto* quitKey = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q), m_homeWindow.get());
        connect(quitKey, &QShortcut::activated, this, &AppDelegate::quit);
    }
    m_home->refresh();
    bringForward(m_homeWindow.get());
}

void AppDelegate::showSignIn()
{
    // Its model holds on to the browser sign-in, so the old window goes now, not later.
    m_signInWindow.reset();
    auto* model = new SignInModel(*m_browserSignIn);
    connect(model, &SignInModel::signedIn, this, &AppDelegate::signedIn);
    m_signInWindow = makeWindow(new SignInView(*model), QStringLiteral("Sign in to Tavrin"), false);
    model->setParent(m_signInWindow.get());
    bringForward(m_signInWindow.get());
}

void AppDelegate::signedIn(const AgentConfig& config)
{
    m_session->setConfig(config);
    if (m_signInWindow)
        m_signInWindow->close();
    rebuildMenu();
    m_home->refresh();
}

void AppDelegate::showPair()
{
    m_session->setConfig(AgentConfig::load());
    auto* model = new PairModel(m_session->config());
    std::unique_ptr<QWidget> window = makeWindow(new PairView(*model), QStringLiteral("Add iPhone"), false);
    model->setParent(window.get());
    // A pairing window lives until it is closed; each call makes a new one.
    window->setAttribute(Qt::WA_DeleteOnClose);
    m_pairWindow = window.release();
    bringForward(m_pairWindow);
}

void AppDelegate::openSettings()
{
    // The file is read afresh: the page belongs to the server the file names now.
    if (const std::optional<QUrl> page = WebPages::address(AgentConfig::load(), WebPages::Page::Settings))
        QDesktopServices::openUrl(*page);
}

void AppDelegate::openHistory()
{
    if (const std::optional<QUrl> page = WebPages::address(AgentConfig::load(), WebPages::Page::History))
        QDesktopServices::openUrl(*page);
}

void AppDelegate::signOut()
{
    const std::optional<AgentConfig> config = m_session->config();
    if (!config)
        return;
    AuthClient::signOut(*config, this, [this] {
        m_session->setConfig(std::nullopt);
        rebuildMenu();
        m_home->refresh();
        showSignIn();
    });
}

void AppDelegate::configurationChanged()
{
    rebuildMenu();
    m_home->refresh();
}

void AppDelegate::grantAccessibility()
{
    m_home->grantAccessibility();
    showHome();
}

void AppDelegate::changeShortcut()
{
    auto* recorder = new ShortcutRecorder(
        m_shortcuts.shortcut(),
        [this](const QKeySequence& shortcut) {
            const AskShortcuts::Outcome outcome = m_shortcuts.change(shortcut);
            if (outcome == AskShortcuts::Outcome::Registered)
                Preferences::setAskShortcut(shortcut.toString(QKeySequence::PortableText));
            return outcome;
        },
        m_homeWindow.get());
    recorder->setAttribute(Qt::WA_DeleteOnClose);
    recorder->open();
}

void AppDelegate::quit()
{
    QApplication::quit();
}
