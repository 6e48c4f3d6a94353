#include "FakeDesktopPlatform.h"
#include "desktop/Keystroke.h"
#include "desktop/PendingInsertion.h"

#include <QTest>

namespace {

const RunningApp editor{"Mousepad", 4242, 0x1200007, "Mousepad"};
const KeyChord ctrlV{Qt::Key_V, Qt::ControlModifier};

const ClipboardContents richContents{{{"text/html", "<b>old</b>"},
                                      {"text/plain", "old"},
                                      {"image/png", QByteArray("\x89PNG\r\n\x1a\n\0\1", 10)}}};

// How the user and the application behave around one insertion into the editor.
struct Scenario
{
    int heldPolls = 0;
    bool copiedMeanwhile = false;
    // When the application reads the pasted text, after the paste key: 0 at once, -1 never.
    int readAfterMs = 0;
};

} // namespace

Q_DECLARE_METATYPE(Scenario)

class TestKeystroke : public QObject
{
    Q_OBJECT

private slots:
    void pastesThenRestores_data();
    void pastesThenRestores();
};

void TestKeystroke::pastesThenRestores_data()
{
    QTest::addColumn<Scenario>("scenario");
    QTest::newRow("waits for held keys") << Scenario{.heldPolls = 5};
    QTest::newRow("keeps what the user copied meanwhile") << Scenario{.copiedMeanwhile = true};
    QTest::newRow("waits for a slow application to read") << Scenario{.readAfterMs = 1200};
    QTest::newRow("restores when the application never reads") << Scenario{.readAfterMs = -1};
}

void TestKeystroke::pastesThenRestores()
{
    QFETCH(Scenario, scenario);
    const auto& [heldPolls, copiedMeanwhile, readAfterMs] = scenario;
    FakeDesktopPlatform platform;
    platform.keys.readsOnPaste = readAfterMs == 0;
    platform.board.contents = richContents;
    platform.keys.heldPolls = heldPolls;
    const std::optional<QString> earlierSelection = QStringLiteral("selected earlier");
    platform.board.selection = earlierSelection;

    Keystroke::insert(platform, "answer", editor);

    QCOMPARE(platform.keys.activated, QList{editor});
    QCOMPARE(platform.board.text(), "answer");
    QTRY_COMPARE(platform.keys.sent.size(), 1);
    const auto paste = platform.keys.sent.first();
    QCOMPARE(paste.chord, ctrlV);
    QCOMPARE(paste.clipboardText, "answer");
    // After the window has had time to come to the front, and the user to let go of every key.
    QCOMPARE(platform.keys.heldPolls, 0);
    QVERIFY(paste.elapsedMs >= 120 + heldPolls * 20);
    const ClipboardContents answer = platform.board.contents;
    const ClipboardContents newer = FakeClipboard::textContents("copied later");
    if (copiedMeanwhile) {
        platform.board.copyByUser(newer);
    }
    if (readAfterMs > 0) {
        QTRY_VERIFY_WITH_TIMEOUT(platform.keys.clock.elapsed() >= paste.elapsedMs + readAfterMs, 5000);
        QCOMPARE(platform.board.contents, answer);
        ++platform.board.served;
    }

    QTRY_VERIFY_WITH_TIMEOUT(platform.pendingWork().findChildren<PendingInsertion*>().isEmpty(), 5000);
    const qint64 restoredAfter = platform.keys.clock.elapsed() - paste.elapsedMs;
    QVERIFY(restoredAfter >= (readAfterMs < 0 ? 3000 : std::max(600, readAfterMs)));
    QCOMPARE(platform.board.selection, earlierSelection);
    QCOMPARE(platform.board.contents, copiedMeanwhile ? newer : richContents);
    QCOMPARE(platform.keys.sent.size(), 1);
}

QTEST_GUILESS_MAIN(TestKeystroke)
#include "tst_keystroke.moc"
