#include "DesktopSession.h"
#include "EditorDriver.h"
#include "FakeSpeechRecognizer.h"
#include "MakeTestSession.h"
#include "ScriptedServer.h"
#include "app/AgentPanel.h"
#include "desktop/DesktopPlatform.h"
#include "desktop/FloatingWindowPlatform.h"
#include "platform/Platform.h"
#include "session/Session.h"
#include "views/PanelView.h"

#include <QApplication>
#include <QDir>
#include <QGraphicsEffect>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QScreen>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <xcb/xcb.h>

#pragma push_macro("signals")
#undef signals
#include <atspi/atspi.h>
#pragma pop_macro("signals")

using namespace DesktopSession;

namespace {

// The session reads the real desktop (mousepad's name and selection), with fake dictation.
std::unique_ptr<Session> makeSession(DesktopPlatform& desktop, const QUrl& server,
                                     FakeSpeechRecognizer*& recognizer)
{
    SessionDictationFakes fakes;
    auto session = makeTestSession(desktop, &fakes);
    recognizer = fakes.recognizer;
    session->setConfig(AgentConfig{server.toString(), QStringLiteral("tok"), std::nullopt});
    return session;
}

QByteArray streamEvent(const char* name, const QByteArray& json)
{
    return QByteArray("event: ") + name + "\ndata: " + json + "\n\n";
}

QByteArray deltaEvent(const QString& text)
{
    QString escaped = text;
    escaped.replace(u'"', QStringLiteral("\\\"")).replace(u'\n', QStringLiteral("\\n"));
    return streamEvent("delta", "{\"t\":\"" + escaped.toUtf8() + "\"}");
}

quint64 activeWindow()
{
    return xdotool({"getactivewindow"}).value_or(QByteArray()).trimmed().toULongLong();
}

// The window's place as the X server has it.
QRect xGeometry(WId window)
{
    const QByteArray info =
        run(QStringLiteral("xwininfo"), {"-id", QString::number(window)}).value_or(QByteArray());
    const auto field = [&info](const char* name) {
        const QRegularExpression pattern(QString::fromLatin1(name) + QStringLiteral(":\\s+(-?\\d+)"));
        return pattern.match(QString::fromUtf8(info)).captured(1).toInt();
    };
    return {field("Absolute upper-left X"), field("Absolute upper-left Y"), field("Width"), field("Height")};
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

// Starts xcompmgr and waits until it owns the compositing manager selection.
bool startCompositor(QProcess& compositor)
{
    compositor.start(QStringLiteral("xcompmgr"), QStringList());
    if (!compositor.waitForStarted())
        return false;
    xcb_connection_t* connection = qApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
    const auto owned = [connection] {
        const char name[] = "_NET_WM_CM_S0";
        xcb_intern_atom_reply_t* atom =
            xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, sizeof name - 1, name), nullptr);
        xcb_get_selection_owner_reply_t* owner =
            atom ? xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom),
                                                 nullptr)
                 : nullptr;
        const bool result = owner && owner->owner != XCB_NONE;
        free(owner);
        free(atom);
        return result;
    };
    return QTest::qWaitFor(owned, 5000);
}

QPalette darkPalette()
{
    QPalette palette = QApplication::palette();
    palette.setColor(QPalette::Window, QColor(30, 30, 30));
    return palette;
}

} // namespace

// The panel window under a real window manager (openbox) and X server, next to mousepad.
class TestAgentPanelDesktop : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_settings;
    std::unique_ptr<DesktopPlatform> m_desktop;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<Session> m_session;
    std::unique_ptr<FloatingWindowPlatform> m_windowManager;
    std::unique_ptr<AgentPanel> m_panel;
    FakeSpeechRecognizer* m_recognizer = nullptr;
    quint64 m_editorWindow = 0;
    std::unique_ptr<EditorDriver> m_editor;

    bool focusEditor() { return activate(m_editorWindow) && activeWindow() == m_editorWindow; }
    void pointAtScreenCentre() { QVERIFY(xdotool({"mousemove", "640", "400"})); }
    bool typeWithKeyboard(const QString& text)
    {
        return xdotool({"type", "--delay", "20", text}).has_value();
    }
    // The accessible objects of this process, as another process reads them.
    QStringList accessibleTree()
    {
        const auto dump = run(QCoreApplication::applicationFilePath(),
                              {"--dump-accessible", QString::number(QCoreApplication::applicationPid())});
        return QString::fromUtf8(dump.value_or(QByteArray())).split(u'\n', Qt::SkipEmptyParts);
    }
    // The panel with a margin around it, once two grabs in a row agree (the compositor paints later).
    QImage settledShot()
    {
        const QRect area = xGeometry(m_panel->winId()).adjusted(-24, -24, 24, 24);
        QImage previous;
        QImage shot;
        const auto settled = [&] {
            previous = shot;
            shot = QGuiApplication::primaryScreen()
                       ->grabWindow(0, area.x(), area.y(), area.width(), area.height())
                       .toImage();
            return animationsSettled() && shot == previous;
        };
        if (!QTest::qWaitFor(settled, 5000))
            return {};
        return shot;
    }
    bool animationsSettled() const
    {
        for (const QWidget* widget : m_panel->findChildren<QWidget*>())
            if (widget->graphicsEffect())
                return false;
        return true;
    }

private slots:
    void initTestCase()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settings.path());
        m_editorWindow = windowOfClass(QStringLiteral("mousepad"));
        QVERIFY(m_editorWindow != 0);
        // The editor fills the screen, so that the panel has a light, busy background.
        QVERIFY(xdotool({"windowsize", QString::number(m_editorWindow), "1280", "800"}));
        QVERIFY(xdotool({"windowmove", QString::number(m_editorWindow), "0", "0"}));
        m_editor = std::make_unique<EditorDriver>(processOfWindow(m_editorWindow));
        QTRY_VERIFY_WITH_TIMEOUT(m_editor->isReady(), 10000);
        m_server = std::make_unique<ScriptedServer>();
        m_desktop = Platform::createDesktop();
        m_session = makeSession(*m_desktop, m_server->url(), m_recognizer);
        m_windowManager = Platform::createFloatingWindows();
        m_panel = std::make_unique<AgentPanel>(*m_session, *m_windowManager);
        m_session->setOnClose([this] { m_panel->hide(); });
    }

    void cleanup()
    {
        m_session->close();
        QApplication::setPalette(QPalette());
    }

    void showingWithoutFocusLeavesTheEditorTyping()
    {
        QVERIFY(m_editor->setText(QString()));
        QVERIFY(focusEditor());
        pointAtScreenCentre();
        m_session->begin(true, false);
        m_panel->showPanel(false);
        QVERIFY(QTest::qWaitForWindowExposed(m_panel.get()));
        QCOMPARE(activeWindow(), m_editorWindow);
        QVERIFY(typeWithKeyboard(QStringLiteral("still here")));
        QTRY_COMPARE_WITH_TIMEOUT(m_editor->text(), QStringLiteral("still here"), 5000);
        QVERIFY(!m_panel->isActiveWindow());
    }

    void showingWithFocusTakesTyping()
    {
        QVERIFY(focusEditor());
        pointAtScreenCentre();
        m_session->begin(false, false);
        m_panel->showPanel(true);
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), quint64(m_panel->winId()), 5000);
        QTRY_VERIFY(m_panel->isActiveWindow());
        QVERIFY(typeWithKeyboard(QStringLiteral("hello")));
        QTRY_COMPARE_WITH_TIMEOUT(m_session->request(), QStringLiteral("hello"), 5000);
    }

    void floatsOnEveryWorkspaceOutOfTheTaskbar()
    {
        for (const bool makeKey : {true, false}) {
            pointAtScreenCentre();
            m_session->begin(!makeKey, false);
            m_panel->showPanel(makeKey);
            QVERIFY(QTest::qWaitForWindowExposed(m_panel.get()));
            // The window manager keeps the states it honours, so reading them back shows they took;
            // openbox shows "every workspace" as desktop 0xFFFFFFFF rather than the sticky state.
            const auto properties = [this] {
                return QString::fromUtf8(
                    run(QStringLiteral("xprop"),
                        {"-id", QString::number(m_panel->winId()), "_NET_WM_STATE", "_NET_WM_DESKTOP"})
                        .value_or(QByteArray()));
            };
            for (const char* expected : {"_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER",
                                         "_NET_WM_STATE_ABOVE", "4294967295"})
                QTRY_VERIFY2(properties().contains(QLatin1String(expected)),
                             qPrintable(properties().replace(u'\n', u' ') + QLatin1String(expected)));
            m_session->close();
            QTRY_VERIFY(!m_panel->isVisible());
        }
    }

    void topEdgeStaysWhileTheAnswerStreams()
    {
        QStringList lines;
        for (int line = 1; line <= 12; ++line)
            lines.append(QStringLiteral("Line %1 of a longer answer").arg(line));
        m_server->enqueue(
            ScriptedResponse().part(deltaEvent("First line")).heldPart(deltaEvent("\n" + lines.join(u'\n'))));
        pointAtScreenCentre();
        m_session->begin(false, false);
        m_panel->showPanel(true);
        QVERIFY(QTest::qWaitForWindowExposed(m_panel.get()));
        m_session->setRequest(QStringLiteral("a long one"));
        m_session->send();
        QTRY_COMPARE(m_session->answer(), QStringLiteral("First line"));
        QTRY_COMPARE(xGeometry(m_panel->winId()).height(), m_panel->height());
        const QRect short_ = xGeometry(m_panel->winId());
        QCOMPARE(short_.top(), 144);
        m_server->release();
        QTRY_VERIFY(m_panel->height() > short_.height() + 100);
        QTRY_COMPARE(xGeometry(m_panel->winId()).height(), m_panel->height());
        QCOMPARE(xGeometry(m_panel->winId()).topLeft(), short_.topLeft());
    }

    void screenReadersSeeEveryPhase()
    {
        m_server->enqueue(ScriptedResponse().part(deltaEvent("Sure, Thursday works.") +
                                                  streamEvent("done", "{\"ms\":900,\"route\":\"fast\"}")));
        pointAtScreenCentre();
        m_session->begin(false, false);
        m_panel->showPanel(true);
        QVERIFY(QTest::qWaitForWindowExposed(m_panel.get()));
        QStringList tree = accessibleTree();
        for (const char* expected :
             {"label\tTavrin", "push button\tAsk \u23CE", "check box\tAuto-insert", "push button\tClose"})
            QVERIFY2(tree.contains(QString::fromUtf8(expected)), qPrintable(tree.join(u'\n')));
        QVERIFY2(tree.filter(QRegularExpression(QStringLiteral("\tRequest$"))).size() == 1,
                 qPrintable(tree.join(u'\n')));

        m_session->setRequest(QStringLiteral("reply yes"));
        m_session->send();
        QTRY_COMPARE(m_session->routeLabel(), QStringLiteral("fast \u00B7 0.9s"));
        tree = accessibleTree();
        for (const char* expected :
             {"label\tReady", "label\t\u201Creply yes\u201D", "push button\tInsert \u23CE",
              "push button\tCopy", "push button\tTry again", "push button\tShorter", "push button\tLonger",
              "label\tfast \u00B7 0.9s"})
            QVERIFY2(tree.contains(QString::fromUtf8(expected)), qPrintable(tree.join(u'\n')));
        QVERIFY2(tree.filter(QRegularExpression(QStringLiteral("\tAnswer$"))).size() == 1,
                 qPrintable(tree.join(u'\n')));
        QVERIFY(!tree.contains(QStringLiteral("push button\tAsk \u23CE")));
    }

    void cornersShowWhatIsBehind_data()
    {
        QTest::addColumn<bool>("compositor");
        QTest::newRow("with a compositor") << true;
        QTest::newRow("without") << false;
    }
    void cornersShowWhatIsBehind()
    {
        QFETCH(bool, compositor);
        QProcess composer;
        if (compositor) {
            QVERIFY(startCompositor(composer));
        }
        QVERIFY(m_editor->setText(QString()));
        pointAtScreenCentre();
        m_session->begin(false, false);
        m_panel->showPanel(true);
        QVERIFY(QTest::qWaitForWindowExposed(m_panel.get()));
        const QRect frame = xGeometry(m_panel->winId());
        const auto corner = [&frame] {
            const QImage shot =
                QGuiApplication::primaryScreen()->grabWindow(0, frame.x(), frame.y(), 4, 4).toImage();
            return shot.pixelColor(0, 0);
        };
        // The editor behind is white; a black corner is a window drawn without its transparency.
        QTRY_VERIFY_WITH_TIMEOUT(corner().lightness() > 200, 5000);
        m_session->close();
        if (compositor) {
            composer.terminate();
            QVERIFY(composer.waitForFinished());
        }
    }

    // Not a check: the pictures of every phase for the documentation, taken when asked for.
    void screenshotsOfEveryPhase()
    {
        const QString folder = qEnvironmentVariable("TAVRIN_PANEL_SCREENSHOTS");
        if (folder.isEmpty())
            QSKIP("set TAVRIN_PANEL_SCREENSHOTS to a folder to take the screenshots");
        QProcess composer;
        QVERIFY(startCompositor(composer));
        // A plain backdrop above the editor keeps the pictures calm; it takes neither focus nor input,
        // so the editor stays the application the panel was summoned from.
        QWidget backdrop(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                                      Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus);
        backdrop.setAttribute(Qt::WA_ShowWithoutActivating);
        backdrop.setAutoFillBackground(true);
        backdrop.setGeometry(QGuiApplication::primaryScreen()->geometry());
        const QString letter =
            QStringLiteral("Hi Sam,\n\nThanks for the notes from Tuesday. Could we move our review "
                           "to Thursday at 3pm? The draft needs one more pass.\n\nBest,\nAlex\n");
        const QString selected = QStringLiteral("Could we move our review to Thursday at 3pm?");
        QVERIFY(m_editor->setText(letter));
        const QStringList answer = {
            QStringLiteral("Hi Sam,\n\n"), QStringLiteral("Thanks so much for the notes from Tuesday! "),
            QStringLiteral("Would Thursday at 3pm work for our review instead? "),
            QStringLiteral("I'd love one more pass over the draft together before we share it.\n\n"),
            QStringLiteral("Best,\nAlex")};
        const auto save = [&](const QString& phase, const QString& appearance) {
            const QImage shot = settledShot();
            QVERIFY(!shot.isNull());
            QVERIFY(
                shot.save(QDir(folder).filePath(QStringLiteral("panel-%1-%2.png").arg(phase, appearance))));
            m_session->close();
        };
        const auto open = [&](bool selection, bool listening, bool reply) {
            QVERIFY(focusEditor());
            const int start = selection ? int(letter.indexOf(selected)) : 0;
            QVERIFY(m_editor->select(start, selection ? start + int(selected.size()) : 0));
            pointAtScreenCentre();
            m_session->begin(listening, reply);
            m_panel->showPanel(!listening);
            QVERIFY(QTest::qWaitForWindowExposed(m_panel.get()));
        };
        const auto ask = [&](const QByteArray& stream, bool held) {
            if (held)
                m_server->enqueue(ScriptedResponse().part(stream).heldPart(QByteArray()));
            else
                m_server->enqueue(ScriptedResponse().part(stream));
            open(true, false, false);
            m_session->setRequest(QStringLiteral("Make this friendlier"));
            m_session->send();
        };
        QByteArray answerStream = streamEvent("route", "{\"route\":\"fast\",\"source\":\"auto\"}");
        for (const QString& part : answer)
            answerStream += deltaEvent(part);
        answerStream += streamEvent("done", "{\"ms\":1840,\"route\":\"fast\"}");

        QVERIFY(setClipboard("Are you free on Thursday at 3pm? We could go over the draft together and "
                             "send it to the team on Friday.",
                             QStringLiteral("text/plain")));
        for (const QString& appearance : {QStringLiteral("light"), QStringLiteral("dark")}) {
            const bool dark = appearance == QLatin1String("dark");
            QApplication::setPalette(dark ? darkPalette() : QPalette());
            QPalette calm = backdrop.palette();
            calm.setColor(QPalette::Window, dark ? QColor(52, 54, 60) : QColor(226, 229, 234));
            backdrop.setPalette(calm);
            backdrop.show();
            QVERIFY(QTest::qWaitForWindowExposed(&backdrop));

            open(true, false, false);
            m_session->setRequest(QStringLiteral("Make this friendlier"));
            save(QStringLiteral("typing"), appearance);

            open(false, false, true);
            save(QStringLiteral("reply"), appearance);

            open(false, true, false);
            m_recognizer->hear(QStringLiteral("make it sound more friendly"));
            QTRY_COMPARE(m_session->request(), QStringLiteral("make it sound more friendly"));
            save(QStringLiteral("listening"), appearance);

            ask(streamEvent("route", "{\"route\":\"fast\",\"source\":\"auto\"}"), true);
            QTRY_COMPARE(m_session->routeLabel(), QStringLiteral("fast \u00B7 auto"));
            save(QStringLiteral("thinking"), appearance);
            m_server->release();

            ask(answerStream, false);
            QTRY_COMPARE(m_session->routeLabel(), QStringLiteral("fast \u00B7 1.8s"));
            save(QStringLiteral("answer"), appearance);

            ask(streamEvent("link", "{\"url\":\"https://example.org/live/4821\",\"message\":\"Your live "
                                    "document is ready to share with the team.\"}") +
                    streamEvent("done", "{\"ms\":620,\"route\":\"link\"}"),
                false);
            QTRY_COMPARE(m_session->routeLabel(), QStringLiteral("link \u00B7 0.6s"));
            save(QStringLiteral("link"), appearance);

            ask(streamEvent("error",
                            "{\"message\":\"The service is busy right now. Try again in a minute.\"}"),
                false);
            QTRY_COMPARE(m_session->phase().kind, Session::Phase::Error);
            save(QStringLiteral("error"), appearance);
        }
        composer.terminate();
        QVERIFY(composer.waitForFinished());
    }
};

int main(int argc, char** argv)
{
    if (argc == 3 && qstrcmp(argv[1], "--dump-accessible") == 0)
        return dumpAccessible(QByteArray(argv[2]).toLongLong());
    if (!DesktopSession::enter())
        return 1;
    QApplication app(argc, argv);
    TestAgentPanelDesktop test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_agentpanel_desktop.moc"
