#include "app/StatusMenu.h"

#include "views/PlatformWords.h"

#include <QMenu>

namespace StatusMenu {

QString accountText(const AgentConfig& config)
{
    if (config.email)
        return *config.email;
    QString server = config.serverURL;
    return server.remove(QStringLiteral("https://"));
}

void fill(QMenu& menu, const StatusMenuState& state, StatusMenuActions& actions, QObject* context)
{
    menu.clear();
    menu.setAccessibleName(QStringLiteral("Tavrin"));
    const auto add = [&](const QString& title, void (StatusMenuActions::*action)()) {
        return menu.addAction(PlatformWords::localize(title), context,
                              [&actions, action] { (actions.*action)(); });
    };

    add(QStringLiteral("Ask (tap ⌥Space · hold to talk)"), &StatusMenuActions::askFromMenu);
    add(QStringLiteral("Reply to copied text (⌥⇧Space)"), &StatusMenuActions::replyFromMenu);
    QAction* autoInsert = add(QStringLiteral("Auto-insert answers"), &StatusMenuActions::toggleAutoInsert);
    autoInsert->setCheckable(true);
    autoInsert->setChecked(state.autoInsert);
    add(QStringLiteral("Open Tavrin…"), &StatusMenuActions::showHome);
    add(QStringLiteral("Web settings (Connected Accounts)…"), &StatusMenuActions::openSettings);
    if (state.config)
        add(QStringLiteral("Search Tavrin history…"), &StatusMenuActions::openHistory);
    menu.addSeparator();
    if (state.config) {
        QAction* account = menu.addAction(QStringLiteral("Signed in: ") + accountText(*state.config));
        account->setEnabled(false);
        add(QStringLiteral("Add iPhone…"), &StatusMenuActions::showPair);
        add(QStringLiteral("Sign out"), &StatusMenuActions::signOut);
    } else {
        add(QStringLiteral("Sign in…"), &StatusMenuActions::showSignIn);
    }
    add(state.accessibilityGranted ? QStringLiteral("Accessibility: granted")
                                   : QStringLiteral("Grant Accessibility…"),
        &StatusMenuActions::grantAccessibility);
    menu.addSeparator();
    QAction* quit = add(QStringLiteral("Quit Tavrin"), &StatusMenuActions::quit);
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
}

} // namespace StatusMenu
