#include "DesktopSession.h"
#include "EditorDriver.h"
#include "desktop/Clipboard.h"
#include "desktop/DesktopPlatform.h"
#include "desktop/FocusCapture.h"
#include "desktop/FocusContext.h"
#include "desktop/FocusReader.h"
#include "desktop/HotKey.h"
#include "desktop/Keystroke.h"
#include "desktop/PendingInsertion.h"
#include "desktop/x11/X11Connection.h"
#include "desktop/x11/X11HotKeys.h"
#include "desktop/x11/X11Keys.h"
#include "platform/Platform.h"

#include <QBuffer>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QProcess>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace DesktopSession;

namespace {

// Another X client, with a connection and grabs of its own.
struct OtherClient
{
    X11Connection connection;
    X11Keys keys{connection.get()};
    X11HotKeys grabs{connection, keys};
};

QByteArray pngBytes()
{
    QImage image(24, 16, QImage::Format_ARGB32);
    image.fill(QColor(200, 40, 90, 180));
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return buffer.data();
}

bool insertionsSettled(DesktopPlatform& desktop)
{
    return desktop.pendingWork().findChildren<PendingInsertion*>().isEmpty();
}

} // namespace

// The adapters against the real desktop session, in order: each test leaves the state the next expects.
class TestX11 : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void hotKeyFollowsLayoutChange();
    void terminalSelectionFromPrimary();
    void editorSelection_data();
    void editorSelection();
    void insertionReplacesEditorSelectionAndRestoresAnImage();
    void insertionIntoTerminal();
    void silentApplicationNeverStallsTheMainThread();

private:
    // The whole context, once the capture has completed.
    FocusContext captureFocus();
    // The editor in front, showing this text with this selection.
    bool showInEditor(const QString& text, int start, int end);

    quint64 m_editorWindow = 0;
    quint64 m_terminalWindow = 0;
    qint64 m_editorProcess = 0;
    std::unique_ptr<EditorDriver> m_editor;
    std::unique_ptr<DesktopPlatform> m_desktop;
    std::unique_ptr<FocusCapture> m_capture;
};

void TestX11::initTestCase()
{
    m_desktop = Platform::createDesktop();
    m_capture = std::make_unique<FocusCapture>(m_desktop->focusReader());
    m_editorWindow = windowOfClass("mousepad");
    m_terminalWindow = windowOfClass("xterm");
    m_editorProcess = processOfWindow(m_editorWindow);
    // The editor shows up on the accessibility bus a little after its window.
    QTRY_VERIFY_WITH_TIMEOUT((m_editor = std::make_unique<EditorDriver>(m_editorProcess))->isReady(), 10000);
}

FocusContext TestX11::captureFocus()
{
    std::optional<FocusContext> completed;
    m_capture->start(this, [&](const FocusContext& context) { completed = context; });
    [&] { QTRY_VERIFY(completed); }();
    return completed.value_or(FocusContext());
}

bool TestX11::showInEditor(const QString& text, int start, int end)
{
    // A busy editor may let a call time out: setting text and selection again is harmless.
    return activate(m_editorWindow) && QTest::qWaitFor([&] { return m_editor->setText(text); }, 15000) &&
           QTest::qWaitFor([&] { return m_editor->select(start, end); }, 15000);
}

void TestX11::hotKeyFollowsLayoutChange()
{
    // Y and Z change places between the US and the German layout, and so change key codes.
    const KeyChord altY{Qt::Key_Y, Qt::AltModifier};
    HotKey hotKey(altY, m_desktop->hotKeys());
    QVERIFY(hotKey.isRegistered());
    QSignalSpy presses(&hotKey, &HotKey::pressed);
    const auto heldByUs = [&altY] { return !OtherClient().grabs.registerHotKey({0, 3}, altY); };
    const auto restoreLayout = qScopeGuard([] { run(QStringLiteral("setxkbmap"), {QStringLiteral("us")}); });

    for (const QString& layout : {QStringLiteral("de"), QStringLiteral("us")}) {
        QVERIFY(run(QStringLiteral("setxkbmap"), {layout}));
        // Once the server's notice of the new map has reached us, the grab sits on Y's new key.
        QTRY_VERIFY(heldByUs());
        presses.clear();
        QVERIFY(xdotool({"key", "alt+y"}));
        QTRY_COMPARE(presses.count(), 1);
    }
}

void TestX11::terminalSelectionFromPrimary()
{
    QVERIFY(activate(m_terminalWindow));
    // A triple click on the first line, whatever the font, selects the word the terminal printed there,
    // and xterm takes PRIMARY.
    QVERIFY(xdotool({"mousemove", "--window", QString::number(m_terminalWindow), "4", "4", "click",
                     "--repeat", "3", "--delay", "60", "1"}));

    FocusContext context;
    // A selected line ends with its line break.
    QTRY_COMPARE((context = captureFocus()).selection, "SELECTME\n");
    QCOMPARE(context.app->windowClass, "XTerm");
    QVERIFY(!context.before);
}

void TestX11::editorSelection_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    QTest::addColumn<std::optional<QString>>("selection");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");

    // With only a caret in the editor, PRIMARY (owned by another client) is not the editor's selection.
    QTest::newRow("caret") << "hello world" << 5 << 5 << std::optional<QString>() << "hello"
                           << " world";
    // Offsets here count code points: the emoji is one.
    const QString emoji = QStringLiteral("\U0001F600");
    const QString before = emoji + QString(2999, 'a');
    const QString after = QString(999, 'b') + emoji;
    QTest::newRow("limits with an emoji at each cut")
        << "xy" + before + "SEL" + after + "tail" << 3002 << 3005 << std::optional<QString>("SEL") << before
        << after;
}

void TestX11::editorSelection()
{
    QFETCH(QString, text);
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(std::optional<QString>, selection);
    QFETCH(QString, before);
    QFETCH(QString, after);
    QVERIFY(run(QStringLiteral("xclip"), {"-selection", "primary"}, "elsewhere"));
    QVERIFY(showInEditor(text, start, end));

    FocusContext context;
    QTRY_VERIFY((context = captureFocus()).before == before);
    QVERIFY(context.app);
    QCOMPARE(context.app->name, "Mousepad");
    QCOMPARE(context.app->processId, m_editorProcess);
    QCOMPARE(context.app->window, m_editorWindow);
    QCOMPARE(context.selection, selection);
    QCOMPARE(context.after, after);
}

void TestX11::insertionReplacesEditorSelectionAndRestoresAnImage()
{
    const QByteArray image = pngBytes();
    QVERIFY(setClipboard(image, QStringLiteral("image/png")));
    QVERIFY(showInEditor("keep REPLACE keep", 5, 12));
    const FocusContext context = captureFocus();
    QCOMPARE(context.selection, "REPLACE");
    // Another window in front: the insertion has to bring the editor back.
    QVERIFY(activate(m_terminalWindow));
    const quint64 served = m_desktop->clipboard().servedCount();

    Keystroke::insert(*m_desktop, QStringLiteral("answer \u00e9"), context.app);

    // Asking the editor blocks this thread, which serves the clipboard the editor is reading: only
    // once the insertion has settled.
    QTRY_VERIFY_WITH_TIMEOUT(insertionsSettled(*m_desktop), 10000);
    QTRY_COMPARE_WITH_TIMEOUT(m_editor->text(), QStringLiteral("keep answer \u00e9 keep"), 15000);
    QCOMPARE(clipboard(QStringLiteral("image/png")), image);
    // The restore waited for the editor to read the answer.
    QVERIFY(m_desktop->clipboard().servedCount() > served);
}

void TestX11::insertionIntoTerminal()
{
    QVERIFY(activate(m_terminalWindow));
    const FocusContext context = captureFocus();
    QCOMPARE(context.app->windowClass, "XTerm");
    QVERIFY(activate(m_editorWindow));
    const quint64 served = m_desktop->clipboard().servedCount();

    Keystroke::insert(*m_desktop, "inserted-into-xterm", context.app);
    QTRY_VERIFY_WITH_TIMEOUT(insertionsSettled(*m_desktop), 5000);
    QVERIFY(m_desktop->clipboard().servedCount() > served);
    // The terminal runs cat into a file: Return ends the line so that it gets written.
    QVERIFY(xdotool({"key", "Return"}));

    const auto written = [] {
        QFile output(qEnvironmentVariable("TAVRIN_SESSION_FILES") + "/xterm.out");
        return output.open(QIODevice::ReadOnly) && output.readAll().contains("inserted-into-xterm");
    };
    QTRY_VERIFY_WITH_TIMEOUT(written(), 5000);
}

void TestX11::silentApplicationNeverStallsTheMainThread()
{
    QProcess silent;
    silent.start(QStringLiteral(TAVRIN_SILENT_APP), {});
    QVERIFY(silent.waitForStarted());
    const auto stop = qScopeGuard([&] {
        silent.kill();
        silent.waitForFinished();
    });
    quint64 window = 0;
    QTRY_VERIFY_WITH_TIMEOUT((window = windowOfClass("silent-app")) != 0, 10000);
    QVERIFY(activate(window));
    // Well, it answers: its selection arrives with the application.
    QTRY_COMPARE_WITH_TIMEOUT(captureFocus().selection, "SILENT", 10000);

    silent.write("hang\n");
    QVERIFY(silent.waitForBytesWritten());
    QByteArray said;
    QTRY_VERIFY2((said += silent.readAllStandardOutput()).contains("hanging"),
                 silent.readAllStandardError().constData());

    // A timer that should fire every millisecond measures how long the main thread was kept away.
    QElapsedTimer clock;
    qint64 lastTick = 0;
    qint64 worstStall = 0;
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    connect(&ticker, &QTimer::timeout, this, [&] {
        worstStall = qMax(worstStall, clock.elapsed() - lastTick);
        lastTick = clock.elapsed();
    });
    std::optional<FocusContext> completed;
    clock.start();
    ticker.start(1);
    const FocusContext immediate =
        m_capture->start(this, [&](const FocusContext& context) { completed = context; });
    worstStall = qMax(worstStall, clock.elapsed());
    QTRY_VERIFY(completed);
    ticker.stop();
    const qint64 deadline = std::chrono::milliseconds(FocusCapture::defaultTextDeadline).count();

    QVERIFY(immediate.app);
    QCOMPARE(immediate.app->processId, silent.processId());
    QCOMPARE(*completed, immediate);
    QVERIFY2(
        worstStall < deadline,
        qPrintable(QStringLiteral("the main thread waited %1 ms on the silent application").arg(worstStall)));
}

int main(int argc, char** argv)
{
    if (!DesktopSession::enter()) {
        return 1;
    }
    QGuiApplication app(argc, argv);
    TestX11 test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_x11.moc"
