#include "FakeDesktopPlatform.h"
#include "desktop/Keystroke.h"
#include "desktop/PendingInsertion.h"

#include <QTest>

namespace {

const RunningApp editor{QStringLiteral("Mousepad"), 4242, 0x1200007, QStringLiteral("Mousepad")};
const RunningApp terminal{QStringLiteral("XTerm"), 4343, 0x1400002, QStringLiteral("XTerm")};
const KeyChord ctrlV{Qt::Key_V, Qt::ControlModifier};
const KeyChord shiftInsert{Qt::Key_Insert, Qt::ShiftModifier};

const ClipboardContents richContents{
    {{QStringLiteral("text/html"), "<b>old</b>"},
     {QStringLiteral("text/plain"), "old"},
     {QStringLiteral("image/png"), QByteArray("\x89PNG\r\n\x1a\n\0\1", 10)}}};

// An insertion outlives the call; the fake platform must outlive the insertion.
void waitUntilSettled()
{
    QTRY_VERIFY_WITH_TIMEOUT(QCoreApplication::instance()->findChildren<PendingInsertion*>().isEmpty(), 3000);
}

} // namespace

class TestKeystroke : public QObject
{
    Q_OBJECT

private slots:
    void pastesThenRestores_data();
    void pastesThenRestores();
    void keepsWhatTheUserCopiedMeanwhile();
    void waitsForHeldKeys();
    void pasteKeyFitsTheTarget_data();
    void pasteKeyFitsTheTarget();
};

void TestKeystroke::pastesThenRestores_data()
{
    QTest::addColumn<ClipboardContents>("before");
    QTest::addColumn<std::optional<RunningApp>>("target");

    QTest::newRow("several formats") << richContents << std::optional(editor);
    QTest::newRow("image only") << ClipboardContents{{{QStringLiteral("image/png"), "png"}}}
                                << std::optional(editor);
    QTest::newRow("empty clipboard keeps the answer") << ClipboardContents{} << std::optional(editor);
    QTest::newRow("no target") << richContents << std::optional<RunningApp>();
}

void TestKeystroke::pastesThenRestores()
{
    QFETCH(ClipboardContents, before);
    QFETCH(std::optional<RunningApp>, target);
    FakeDesktopPlatform platform;
    platform.board.contents = before;

    Keystroke::insert(QStringLiteral("answer"), target);

    QCOMPARE(platform.keys.activated, target ? QList{*target} : QList<RunningApp>());
    QCOMPARE(platform.board.text(), QStringLiteral("answer"));
    QTRY_COMPARE(platform.keys.sent.size(), 1);
    const auto paste = platform.keys.sent.first();
    QCOMPARE(paste.chord, ctrlV);
    QCOMPARE(paste.clipboardText, QStringLiteral("answer"));
    QVERIFY(paste.elapsedMs >= 120);
    const ClipboardContents answer = platform.board.contents;
    waitUntilSettled();
    QVERIFY(platform.keys.elapsedMs() >= 720);
    QCOMPARE(platform.board.contents, before.isEmpty() ? answer : before);
    QVERIFY(!platform.board.selection);
}

void TestKeystroke::keepsWhatTheUserCopiedMeanwhile()
{
    FakeDesktopPlatform platform;
    platform.board.contents = richContents;
    const ClipboardContents newer = FakeClipboard::textContents(QStringLiteral("copied later"));

    Keystroke::insert(QStringLiteral("answer"), editor);
    QTRY_COMPARE(platform.keys.sent.size(), 1);
    platform.board.copyByUser(newer);

    waitUntilSettled();
    QCOMPARE(platform.board.contents, newer);
}

void TestKeystroke::waitsForHeldKeys()
{
    FakeDesktopPlatform platform;
    platform.keys.heldPolls = 5;

    Keystroke::insert(QStringLiteral("answer"), editor);

    QTRY_COMPARE(platform.keys.sent.size(), 1);
    QCOMPARE(platform.keys.heldPolls, 0);
    QVERIFY(platform.keys.sent.first().elapsedMs >= 120 + 5 * 20);
    waitUntilSettled();
}

void TestKeystroke::pasteKeyFitsTheTarget_data()
{
    QTest::addColumn<RunningApp>("target");
    QTest::addColumn<KeyChord>("chord");
    QTest::addColumn<std::optional<QString>>("selection");

    QTest::newRow("editor") << editor << ctrlV << std::optional<QString>();
    QTest::newRow("xterm pastes PRIMARY")
        << terminal << shiftInsert << std::optional(QStringLiteral("answer"));
    RunningApp konsole = terminal;
    konsole.windowClass = QStringLiteral("konsole");
    QTest::newRow("konsole") << konsole << KeyChord{Qt::Key_V, Qt::ControlModifier | Qt::ShiftModifier}
                             << std::optional<QString>();
}

void TestKeystroke::pasteKeyFitsTheTarget()
{
    QFETCH(RunningApp, target);
    QFETCH(KeyChord, chord);
    QFETCH(std::optional<QString>, selection);
    FakeDesktopPlatform platform;

    Keystroke::insert(QStringLiteral("answer"), target);

    QTRY_COMPARE(platform.keys.sent.size(), 1);
    QCOMPARE(platform.keys.sent.first().chord, chord);
    QCOMPARE(platform.board.selection, selection);
    waitUntilSettled();
}

QTEST_GUILESS_MAIN(TestKeystroke)
#include "tst_keystroke.moc"
