#include "app/StatusMenu.h"
#include "app/WebPages.h"

#include <QApplication>
#include <QMenu>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

namespace {

class RecordingActions : public StatusMenuActions
{
public:
    QStringList called;
    void askFromMenu() override { called << "ask"; }
    void replyFromMenu() override { called << "reply"; }
    void toggleAutoInsert() override { called << "autoInsert"; }
    void showHome() override { called << "home"; }
    void openSettings() override { called << "settings"; }
    void openHistory() override { called << "history"; }
    void showPair() override { called << "pair"; }
    void signOut() override { called << "signOut"; }
    void showSignIn() override { called << "signIn"; }
    void grantAccessibility() override { called << "accessibility"; }
    void quit() override { called << "quit"; }
};

// Each item as one line: its title, then "(off)" when disabled and "[x]" or "[ ]" when checkable.
QStringList describe(const QMenu& menu)
{
    QStringList lines;
    for (const QAction* action : menu.actions()) {
        QString line = action->isSeparator() ? QStringLiteral("---") : action->text();
        if (!action->isEnabled())
            line += QStringLiteral(" (off)");
        if (action->isCheckable())
            line += action->isChecked() ? QStringLiteral(" [x]") : QStringLiteral(" [ ]");
        lines << line;
    }
    return lines;
}

const AgentConfig withEmail{QStringLiteral("https://tavrin.example"), QStringLiteral("t"),
                            QStringLiteral("ana@example.com")};

} // namespace

class TestStatusMenu : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_settings;

private slots:
    void initTestCase()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settings.path());
    }

    void itemsFollowTheState_data()
    {
        QTest::addColumn<StatusMenuState>("state");
        QTest::addColumn<QStringList>("items");
        const QStringList head = {"Ask (tap Alt+Space · hold to talk)",
                                  "Reply to copied text (Alt+Shift+Space)"};
        QTest::newRow("signed out") << StatusMenuState{std::nullopt, false, false}
                                    << head + QStringList{"Auto-insert answers [ ]",
                                                          "Open Tavrin…",
                                                          "Web settings (Connected Accounts)…",
                                                          "---",
                                                          "Sign in…",
                                                          "Grant Accessibility…",
                                                          "---",
                                                          "Quit Tavrin"};
        QTest::newRow("signed in") << StatusMenuState{withEmail, true, true}
                                   << head + QStringList{"Auto-insert answers [x]",
                                                         "Open Tavrin…",
                                                         "Web settings (Connected Accounts)…",
                                                         "Search Tavrin history…",
                                                         "---",
                                                         "Signed in: ana@example.com (off)",
                                                         "Add iPhone…",
                                                         "Sign out",
                                                         "Accessibility: granted",
                                                         "---",
                                                         "Quit Tavrin"};
        // Without an e-mail and with another shortcut: the desktop test.
    }
    void itemsFollowTheState()
    {
        QFETCH(StatusMenuState, state);
        QFETCH(QStringList, items);
        RecordingActions actions;
        // Filled over the items of another state: none of those may remain.
        QMenu menu;
        StatusMenu::fill(menu, state.config ? StatusMenuState{} : StatusMenuState{withEmail, true, true},
                         actions, this);
        StatusMenu::fill(menu, state, actions, this);
        QCOMPARE(describe(menu), items);
        QCOMPARE(menu.actions().last()->shortcut(), QKeySequence(QStringLiteral("Ctrl+Q")));
    }

    void itemsCallTheirActions()
    {
        RecordingActions actions;
        QMenu menu;
        StatusMenu::fill(menu, {withEmail, false, false}, actions, this);
        for (QAction* action : menu.actions())
            action->trigger();
        QCOMPARE(actions.called, (QStringList{"ask", "reply", "autoInsert", "home", "settings", "history",
                                              "pair", "signOut", "accessibility", "quit"}));
    }

    void webPagesUnderTheServer_data()
    {
        QTest::addColumn<QString>("server");
        QTest::addColumn<QString>("settings");
        QTest::addColumn<QString>("history");
        QTest::newRow("no configuration") << QString() << "http://127.0.0.1:8080/app"
                                          << "http://127.0.0.1:8080/app#history";
        QTest::newRow("bare host") << "https://tavrin.example"
                                   << "https://tavrin.example/app"
                                   << "https://tavrin.example/app#history";
        QTest::newRow("path with slash") << "https://h.example/base/"
                                         << "https://h.example/base/app"
                                         << "https://h.example/base/app#history";
        QTest::newRow("not an address") << "not a url" << QString() << QString();
    }
    void webPagesUnderTheServer()
    {
        QFETCH(QString, server);
        QFETCH(QString, settings);
        QFETCH(QString, history);
        std::optional<AgentConfig> config;
        if (!server.isNull())
            config = AgentConfig{server, QStringLiteral("t"), std::nullopt};
        const auto text = [](const std::optional<QUrl>& url) { return url ? url->toString() : QString(); };
        QCOMPARE(text(WebPages::address(config, WebPages::Page::Settings)), settings);
        QCOMPARE(text(WebPages::address(config, WebPages::Page::History)), history);
    }

    void itemsOfAGoneContextDoNothing()
    {
        RecordingActions actions;
        auto context = std::make_unique<QObject>();
        QMenu menu;
        StatusMenu::fill(menu, {std::nullopt, false, false}, actions, context.get());
        context.reset();
        menu.actions().first()->trigger();
        QVERIFY(actions.called.isEmpty());
    }
};

Q_DECLARE_METATYPE(StatusMenuState)

QTEST_MAIN(TestStatusMenu)
#include "tst_statusmenu.moc"
