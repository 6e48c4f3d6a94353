#include "DesktopSession.h"
#include "EditorDriver.h"
#include "KeycodeOf.h"
#include "RunningService.h"
#include "ScriptedServer.h"
#include "TavrinProcess.h"
#include "app/AgentPanel.h"
#include "app/AppDelegate.h"
#include "app/ShortcutRecorder.h"
#include "config/AgentConfig.h"
#include "config/Preferences.h"
#include "session/Session.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTest>
#include <atspi/atspi.h>
#include <cstdio>
#include <xcb/xcb.h>

using namespace DesktopSession;
using Phase = Session::Phase;

namespace {

const QString email = QStringLiteral("ana@tavrin.test");
const QString password = QStringLiteral("correct horse");

ServiceOptions accountService()
{
    const auto parsed =
        ServiceOptions::parse({QStringLiteral("tavrin-service"), QStringLiteral("--port"),
                               QStringLiteral("0"), QStringLiteral("--word-delay"), QStringLiteral("0"),
                               QStringLiteral("--account"), email + u':' + password});
    return std::get<ServiceOptions>(parsed);
}

QList<QWidget*> visibleWindows(const QString& title)
{
    QList<QWidget*> windows;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->isVisible() && widget->windowTitle() == title)
            windows << widget;
    }
    return windows;
}

bool shows(QWidget* window, const QString& text)
{
    if (!window)
        return false;
    const QList<QLabel*> labels = window->findChildren<QLabel*>();
    return std::any_of(labels.begin(), labels.end(),
                       [&](const QLabel* label) { return label->isVisible() && label->text() == text; });
}

// A chord grabbed by another X client, as another program holding a shortcut would.
class ForeignGrab
{
public:
    ForeignGrab(xcb_keysym_t keysym, uint16_t modifiers) : m_connection(xcb_connect(nullptr, nullptr))
    {
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        xcb_grab_key(m_connection, 1, root, modifiers, keycodeOf(m_connection, keysym), XCB_GRAB_MODE_ASYNC,
                     XCB_GRAB_MODE_ASYNC);
        free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }
    ~ForeignGrab() { xcb_disconnect(m_connection); }

private:
    xcb_connection_t* m_connection;
};

QByteArray streamEvent(const char* name, const QByteArray& json)
{
    return QByteArray("event: ") + name + "\ndata: " + json + "\n\n";
}

// The child mode of this program: prints the showing accessible objects of one process as
// "role<TAB>name" lines, read through AT-SPI from outside the process that shows them.
void dumpNode(AtspiAccessible* node, int depth, int& budget)
{
    if (--budget < 0 || depth > 40)
        return;
    AtspiStateSet* states = atspi_accessible_get_state_set(node);
    const bool showing = states && atspi_state_set_contains(states, ATSPI_STATE_SHOWING);
    g_clear_object(&states);
    if (!showing && depth > 1)
        return;
    gchar* role = atspi_accessible_get_role_name(node, nullptr);
    gchar* name = atspi_accessible_get_name(node, nullptr);
    std::printf("%s\t%s\n", role ? role : "", name ? name : "");
    g_free(role);
    g_free(name);
    const gint children = atspi_accessible_get_child_count(node, nullptr);
    for (gint i = 0; i < children; ++i) {
        if (AtspiAccessible* child = atspi_accessible_get_child_at_index(node, i, nullptr)) {
            dumpNode(child, depth + 1, budget);
            g_object_unref(child);
        }
    }
}

int dumpAccessible(qint64 processId)
{
    atspi_init();
    AtspiAccessible* desktop = atspi_get_desktop(0);
    const gint apps = atspi_accessible_get_child_count(desktop, nullptr);
    for (gint i = 0; i < apps; ++i) {
        AtspiAccessible* app = atspi_accessible_get_child_at_index(desktop, i, nullptr);
        if (app && qint64(atspi_accessible_get_process_id(app, nullptr)) == processId) {
            int budget = 2000;
            dumpNode(app, 0, budget);
        }
        g_clear_object(&app);
    }
    g_object_unref(desktop);
    return 0;
}

} // namespace

// The desktop application in a real X session with a tray: windows, menu, gestures, shortcuts, the
// panel under the window manager, the single instance, and a request end to end in a text editor.
class TestAppDesktop : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QProcess m_tray;
    std::unique_ptr<AppDelegate> m_app;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<RunningService> m_service;
    quint64 m_editorWindow = 0;
    std::unique_ptr<EditorDriver> m_editor;

    QString configPath() const { return m_dir.filePath(QStringLiteral("config/config.json")); }
    Phase::Kind phase() const { return m_app->session().phase().kind; }
    AgentPanel* panel() const { return qobject_cast<AgentPanel*>(m_app->panel()); }
    QAction* menuItem(const QString& title) const
    {
        for (QAction* action : m_app->menu()->actions()) {
            if (action->text() == title)
                return action;
        }
        return nullptr;
    }

    void launch(const std::optional<AgentConfig>& config)
    {
        if (config)
            QVERIFY(config->save().ok());
        else
            AgentConfig::remove();
        m_app = std::make_unique<AppDelegate>();
        m_app->launch();
        // The windows of the launch take the focus once; only then may a test give it elsewhere.
        QTRY_VERIFY(QApplication::activeWindow());
    }
    // Signed in to a scripted service, with the home window of the launch closed.
    void launchSignedInToScript()
    {
        m_server = std::make_unique<ScriptedServer>();
        launch(AgentConfig{m_server->url().toString(), QStringLiteral("tok"), email});
        for (QWidget* window : visibleWindows(QStringLiteral("Tavrin")))
            window->close();
    }
    // Signed in to the reference service, whose offline engine answers every request.
    void launchSignedInToService()
    {
        m_service = std::make_unique<RunningService>(accountService());
        TavrinProcess signIn({"--signin", m_service->service().url(), email},
                             {{"MORVIK_CONFIG_PATH", configPath()}, {"MORVIK_PASSWORD", password}});
        QVERIFY(signIn.finish());
        QCOMPARE(signIn.status(), 0);
        launch(AgentConfig::load());
    }
    bool key(const QString& chord) { return xdotool({"key", "--clearmodifiers", chord}).has_value(); }
    // The editor in front with this text, the given part selected.
    void frontEditor(const QString& text, int start, int end)
    {
        QVERIFY(m_editor->setText(text));
        QVERIFY(m_editor->select(start, end));
        QVERIFY(activate(m_editorWindow));
    }
    // The editor's text once it is the expected one, or the last reading. A reading can time out while the
    // editor is busy with a paste and then comes back empty, so a match is never read a second time.
    QString editorTextOnceItIs(const QString& expected) const
    {
        QString text;
        (void)QTest::qWaitFor([&] { return (text = m_editor->text()) == expected; }, 15000);
        return text;
    }
    void tapInTheEditor()
    {
        QVERIFY(activate(m_editorWindow));
        QVERIFY(key(QStringLiteral("alt+space")));
        QTRY_COMPARE(phase(), Phase::Typing);
        QTRY_VERIFY(panel()->isVisible());
    }
    // The window manager keeps the states it honours, so reading them back shows they took; openbox
    // shows "every workspace" as desktop 0xFFFFFFFF rather than the sticky state.
    bool panelFloatsAboveEveryWorkspace() const
    {
        return QTest::qWaitFor(
            [this] {
                const QByteArray states =
                    run(QStringLiteral("xprop"),
                        {"-id", QString::number(panel()->winId()), "_NET_WM_STATE", "_NET_WM_DESKTOP"})
                        .value_or(QByteArray());
                return states.contains("_NET_WM_STATE_SKIP_TASKBAR") &&
                       states.contains("_NET_WM_STATE_SKIP_PAGER") &&
                       states.contains("_NET_WM_STATE_ABOVE") && states.contains("4294967295");
            },
            5000);
    }

    // What a screen reader reads of this process: the showing objects, one role and name a line.
    void screenReaderReads(const QStringList& expected, const QString& onceNamed)
    {
        const QByteArray dump =
            run(QCoreApplication::applicationFilePath(),
                {"--dump-accessible", QString::number(QCoreApplication::applicationPid())})
                .value_or(QByteArray());
        const QStringList tree = QString::fromUtf8(dump).split(u'\n', Qt::SkipEmptyParts);
        for (const QString& line : expected)
            QVERIFY2(tree.contains(line), qPrintable(tree.join(u'\n')));
        QVERIFY2(tree.filter(QRegularExpression(u'\t' + onceNamed + u'$')).size() == 1,
                 qPrintable(tree.join(u'\n')));
    }

private slots:
    void initTestCase()
    {
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(configPath()));
        QCOMPARE(AgentConfig::fileURL(), configPath());
        m_tray.start(QStringLiteral("trayer"), {"--edge", "top", "--align", "right", "--height", "24",
                                                "--widthtype", "request", "--SetDockType", "true"});
        QTRY_VERIFY_WITH_TIMEOUT(QSystemTrayIcon::isSystemTrayAvailable(), 10000);
        m_editorWindow = windowOfClass(QStringLiteral("mousepad"));
        QVERIFY(m_editorWindow);
        m_editor = std::make_unique<EditorDriver>(processOfWindow(m_editorWindow));
        QTRY_VERIFY_WITH_TIMEOUT(m_editor->isReady(), 10000);
    }

    void cleanupTestCase()
    {
        m_tray.terminate();
        m_tray.waitForFinished();
    }

    void cleanup()
    {
        m_app.reset();
        m_server.reset();
        m_service.reset();
        for (QWidget* widget : QApplication::topLevelWidgets())
            widget->close();
        QSettings().clear();
    }

    // Signed in without an e-mail at launch, then the menu and the windows driven directly.
    void launchSignedInWithoutEmail()
    {
        launch(AgentConfig{QStringLiteral("https://tavrin.example"), QStringLiteral("tok"), std::nullopt});
        QTRY_COMPARE(visibleWindows(QStringLiteral("Tavrin")).size(), 1);
        QVERIFY(visibleWindows(QStringLiteral("Sign in to Tavrin")).isEmpty());
        QAction* account = menuItem(QStringLiteral("Signed in: tavrin.example"));
        QVERIFY(account);
        QVERIFY(!account->isEnabled());
        QVERIFY(menuItem(QStringLiteral("Search Tavrin history…")));

        QVERIFY(!Preferences::autoInsert());
        for (const bool expected : {true, false}) {
            menuItem(QStringLiteral("Auto-insert answers"))->trigger();
            QCOMPARE(Preferences::autoInsert(), expected);
            QCOMPARE(menuItem(QStringLiteral("Auto-insert answers"))->isChecked(), expected);
        }
        m_app->showSignIn();
        m_app->showSignIn();
        QTRY_COMPARE(visibleWindows(QStringLiteral("Sign in to Tavrin")).size(), 1);
        m_app->showPair();
        m_app->showPair();
        QTRY_COMPARE(visibleWindows(QStringLiteral("Add iPhone")).size(), 2);
    }

    // Signed out at launch, then signed in and out again from the command line; the folder exists now.
    void launchSignedOutAndFollowTheCommandLine()
    {
        RunningService service(accountService());
        launch(std::nullopt);
        QTRY_COMPARE(visibleWindows(QStringLiteral("Tavrin")).size(), 1);
        QCOMPARE(visibleWindows(QStringLiteral("Sign in to Tavrin")).size(), 1);
        QVERIFY(menuItem(QStringLiteral("Sign in…")));
        QVERIFY(!menuItem(QStringLiteral("Search Tavrin history…")));
        QSignalSpy rebuilt(m_app.get(), &AppDelegate::menuRebuilt);
        const TavrinProcess::Environment environment = {{"MORVIK_CONFIG_PATH", configPath()},
                                                        {"MORVIK_PASSWORD", password}};
        TavrinProcess signIn({"--signin", service.service().url(), email}, environment);
        QVERIFY(signIn.finish());
        QCOMPARE(signIn.status(), 0);
        // The folder is watched: no need to wait for the five-second look.
        QTRY_VERIFY_WITH_TIMEOUT(menuItem("Signed in: " + email), 3000);

        // Identical content changes nothing; the next real change rebuilds once.
        rebuilt.clear();
        QVERIFY(AgentConfig::load()->save().ok());
        TavrinProcess signOut({"--signout"}, environment);
        QVERIFY(signOut.finish());
        QTRY_VERIFY_WITH_TIMEOUT(menuItem(QStringLiteral("Sign in…")), 3000);
        QCOMPARE(rebuilt.count(), 1);
    }

    // The panel takes the keyboard, floats above every workspace out of the taskbar and reads out to a
    // screen reader; a press of the shortcut closes it.
    void tapOpensThePanelForTypingAndAPressClosesIt()
    {
        launchSignedInToScript();
        frontEditor(QString(), 0, 0);
        tapInTheEditor();
        QTRY_COMPARE_WITH_TIMEOUT(QApplication::activeWindow(), m_app->panel(), 15000);
        QVERIFY(panelFloatsAboveEveryWorkspace());
        screenReaderReads(
            {"label\tTavrin", "push button\tAsk \u23CE", "check box\tAuto-insert", "push button\tClose"},
            QStringLiteral("Request"));

        // Only the panel's request goes to this server: the home window's account checks, which come
        // when they will, go to the other.
        ScriptedServer answers;
        m_app->session().setConfig(AgentConfig{answers.url().toString(), QStringLiteral("tok"), email});
        answers.enqueue(ScriptedResponse().part(streamEvent("delta", "{\"t\":\"First line\"}") +
                                                streamEvent("done", "{\"ms\":900,\"route\":\"fast\"}")));
        m_app->session().setRequest(QStringLiteral("reply yes"));
        m_app->session().send();
        QTRY_COMPARE(m_app->session().routeLabel(), QStringLiteral("fast \u00B7 0.9s"));
        QCOMPARE(m_app->session().answer(), QStringLiteral("First line"));
        screenReaderReads({"label\tReady", "label\t\u201Creply yes\u201D", "push button\tInsert \u23CE",
                           "push button\tCopy", "push button\tTry again", "push button\tShorter",
                           "push button\tLonger", "label\tfast \u00B7 0.9s"},
                          QStringLiteral("Answer"));

        // A press during the answer closes it and inserts nothing.
        QVERIFY(key(QStringLiteral("alt+space")));
        QTRY_COMPARE(phase(), Phase::Idle);
        QTRY_VERIFY(!panel()->isVisible());
        QCOMPARE(m_editor->text(), QString());
    }

    void holdDictatesAndTheAnswerIsInserted()
    {
        const QString clip = m_dir.filePath(QStringLiteral("shorter.wav"));
        QCOMPARE(QProcess::execute("flite", {"-voice", "kal16", "-t", "make it shorter", "-o", clip}), 0);
        QVERIFY(setClipboard("kept while dictating", QStringLiteral("text/plain")));
        launchSignedInToService();
        frontEditor(QStringLiteral("Draft: "), 7, 7);

        QVERIFY(xdotool({"keydown", "alt+space"}));
        QTRY_COMPARE(phase(), Phase::Listening);
        QTRY_VERIFY(m_app->panel()->isVisible());
        // The editor keeps the keyboard while the panel listens.
        QCOMPARE(xdotool({"getactivewindow"}).value_or(QByteArray()).trimmed().toULongLong(), m_editorWindow);
        QVERIFY(panelFloatsAboveEveryWorkspace());
        QCOMPARE(QProcess::execute("paplay", {"-d", "vmic", clip}), 0);
        QTRY_VERIFY_WITH_TIMEOUT(m_app->session().request().contains(QStringLiteral("shorter")), 5000);
        QVERIFY(xdotool({"keyup", "alt+space"}));
        // A dictated request's answer goes into the editor as soon as it is complete.
        QTRY_COMPARE_WITH_TIMEOUT(phase(), Phase::Idle, 15000);
        QVERIFY(!m_app->session().answer().isEmpty());
        const QString draft = "Draft: " + m_app->session().answer();
        QCOMPARE(editorTextOnceItIs(draft), draft);
        // The insertion is over once the clipboard is back.
        QTRY_COMPARE_WITH_TIMEOUT(clipboard(QStringLiteral("text/plain")), QByteArray("kept while dictating"),
                                  5000);
    }

    void replyToCopiedText()
    {
        launchSignedInToService();
        QVERIFY(setClipboard("Lunch at noon?", QStringLiteral("text/plain")));
        frontEditor(QString(), 0, 0);
        QVERIFY(key(QStringLiteral("alt+shift+space")));
        QTRY_COMPARE(phase(), Phase::Typing);
        QTRY_COMPARE(m_app->session().copied(), QStringLiteral("Lunch at noon?"));
        QTRY_COMPARE(QApplication::activeWindow(), m_app->panel());
        // Return with nothing typed drafts a reply to the copied message.
        QVERIFY(key(QStringLiteral("Return")));
        QTRY_COMPARE(m_app->session().request(), Session::replyRequest);
        QTRY_VERIFY_WITH_TIMEOUT(m_app->session().routeLabel().endsWith(u's'), 10000);
        QCOMPARE(phase(), Phase::Answer);
        const QString answer = m_app->session().answer();
        m_app->session().insert();
        QCOMPARE(editorTextOnceItIs(answer), answer);
        QTRY_COMPARE_WITH_TIMEOUT(clipboard(QStringLiteral("text/plain")), QByteArray("Lunch at noon?"),
                                  5000);

        // The reply shortcut twice: open, then closed.
        QVERIFY(activate(m_editorWindow));
        QVERIFY(key(QStringLiteral("alt+shift+space")));
        QTRY_COMPARE(phase(), Phase::Typing);
        QVERIFY(key(QStringLiteral("alt+shift+space")));
        QTRY_COMPARE(phase(), Phase::Idle);
    }

    void shortcutChangesAtRunTimeUnlessTaken()
    {
        launchSignedInToScript();
        constexpr xcb_keysym_t letterJ = 0x6a;
        const ForeignGrab taken(letterJ, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1);
        m_app->changeShortcut();
        QPointer<ShortcutRecorder> recorder;
        QTRY_VERIFY((recorder = qobject_cast<ShortcutRecorder*>(QApplication::activeWindow())));

        QVERIFY(key(QStringLiteral("ctrl+alt+j")));
        QTRY_VERIFY(shows(recorder, ShortcutRecorder::takenText));
        QCOMPARE(Preferences::askShortcut(), QStringLiteral("Alt+Space"));

        QVERIFY(key(QStringLiteral("ctrl+alt+k")));
        QTRY_COMPARE(Preferences::askShortcut(), QStringLiteral("Ctrl+Alt+K"));
        QVERIFY(menuItem(QStringLiteral("Ask (tap Ctrl+Alt+K · hold to talk)")));
        QVERIFY(menuItem(QStringLiteral("Reply to copied text (Ctrl+Alt+Shift+K)")));
        QVERIFY(activate(m_editorWindow));
        QVERIFY(key(QStringLiteral("ctrl+alt+k")));
        QTRY_COMPARE(phase(), Phase::Typing);
        // The reply shortcut moved with it: a press of it closes the panel.
        QVERIFY(key(QStringLiteral("ctrl+alt+shift+k")));
        QTRY_COMPARE(phase(), Phase::Idle);
    }

    void requestEndToEndInTheEditor()
    {
        QVERIFY(setClipboard("kept on the clipboard", QStringLiteral("text/plain")));
        launchSignedInToService();
        frontEditor(QStringLiteral("The meeting is on Monday."), 18, 24);

        QVERIFY(key(QStringLiteral("alt+space")));
        QTRY_COMPARE_WITH_TIMEOUT(QApplication::activeWindow(), m_app->panel(), 15000);
        // The capture runs off the main thread: the selection arrives just after the panel.
        QTRY_COMPARE(m_app->session().context().selection, QStringLiteral("Monday"));
        // Typing starts once the request field has the keyboard, as a person sees the caret there.
        QTRY_VERIFY(QApplication::focusWidget() &&
                    QApplication::focusWidget()->accessibleName() == QStringLiteral("Request"));
        QVERIFY(xdotool({"type", "--delay", "20", "make it friday"}));
        QTRY_COMPARE(m_app->session().request(), QStringLiteral("make it friday"));
        QVERIFY(key(QStringLiteral("Return")));
        QTRY_COMPARE_WITH_TIMEOUT(phase(), Phase::Answer, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(m_app->session().routeLabel().endsWith(u's'), 10000);
        const QString answer = m_app->session().answer();
        QVERIFY(!answer.isEmpty());
        QVERIFY(key(QStringLiteral("Return")));
        const QString edited = "The meeting is on " + answer + ".";
        QCOMPARE(editorTextOnceItIs(edited), edited);
        QTRY_COMPARE_WITH_TIMEOUT(clipboard(QStringLiteral("text/plain")),
                                  QByteArray("kept on the clipboard"), 5000);
    }

    // The real program: a second start hands over, --panel opens the panel, windows close without quitting.
    void oneInstance()
    {
        AgentConfig::remove();
        QProcess first;
        first.start(QStringLiteral(TAVRIN_EXE), {});
        QVERIFY(first.waitForStarted());
        const QByteArray pid = QByteArray::number(first.processId());
        const auto windows = [&](const char* title) {
            return xdotool({"search", "--all", "--onlyvisible", "--pid", pid, "--name", title})
                .value_or(QByteArray())
                .trimmed();
        };
        const auto handOver = [](const QStringList& arguments) {
            QProcess later;
            later.start(QStringLiteral(TAVRIN_EXE), arguments);
            return later.waitForFinished(10000) && later.exitCode() == 0;
        };
        QTRY_VERIFY2_WITH_TIMEOUT(!windows("^Tavrin$").isEmpty(), first.readAllStandardError().constData(),
                                  15000);
        // Closed as a person would, through the window manager.
        for (const char* title : {"^Sign in to Tavrin$", "^Tavrin$"}) {
            quint64 window = 0;
            QTRY_VERIFY((window = windows(title).toULongLong()));
            QVERIFY(activate(window));
            QVERIFY(key(QStringLiteral("alt+F4")));
        }
        QTRY_VERIFY(windows("^Tavrin$").isEmpty());

        QVERIFY(handOver({}));
        QTRY_VERIFY_WITH_TIMEOUT(!windows("^Tavrin$").isEmpty(), 5000);
        // The panel shares the home window's title: two windows of that name once it shows.
        QVERIFY(handOver({QStringLiteral("--panel")}));
        QTRY_COMPARE_WITH_TIMEOUT(windows("^Tavrin$").split('\n').size(), 2, 10000);
        QCOMPARE(first.state(), QProcess::Running);
        first.terminate();
        QVERIFY(first.waitForFinished(5000));
    }
};

int main(int argc, char** argv)
{
    if (argc == 3 && qstrcmp(argv[1], "--dump-accessible") == 0)
        return dumpAccessible(QByteArray(argv[2]).toLongLong());
    if (!DesktopSession::enter())
        return 1;
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    TestAppDesktop test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_appdesktop.moc"
