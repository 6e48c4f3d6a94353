#include "FakeDesktopPlatform.h"
#include "desktop/HotKey.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>

namespace {

const KeyChord ask{Qt::Key_Space, Qt::AltModifier};
const KeyChord reply{Qt::Key_Space, Qt::AltModifier | Qt::ShiftModifier};

} // namespace

class TestHotKey : public QObject
{
    Q_OBJECT

private slots:
    void deliversOnTheMainThreadInOrder();
    void destroyedHotKeyIsUnregisteredAndItsIdNeverReused();
};

void TestHotKey::deliversOnTheMainThreadInOrder()
{
    FakeDesktopPlatform platform;
    HotKey askKey(ask, platform.shortcuts);
    HotKey replyKey(reply, platform.shortcuts);
    QVERIFY(askKey.isRegistered());
    QSignalSpy replyPresses(&replyKey, &HotKey::pressed);
    QStringList events;
    QList<QThread*> threads;
    const auto record = [&](const char* event) {
        events << event;
        threads << QThread::currentThread();
    };
    connect(&askKey, &HotKey::pressed, this, [&] { record("press"); });
    connect(&askKey, &HotKey::released, this, [&] { record("release"); });

    // Adapters may report from a thread of their own; delivery must still be queued to the main thread,
    // and reach only the hot key with that id (0 is nobody's).
    QThread* sender = QThread::create([id = askKey.id()] {
        HotKey::deliver({HotKey::signature, 0}, true);
        for (const bool pressed : {true, false, true, false}) {
            HotKey::deliver({HotKey::signature, id}, pressed);
        }
    });
    sender->start();
    sender->wait();
    delete sender;

    QVERIFY(events.isEmpty());
    QTRY_COMPARE(events, QStringList({"press", "release", "press", "release"}));
    QCOMPARE(threads, QList<QThread*>(4, QThread::currentThread()));
    QCOMPARE(replyPresses.count(), 0);
}

void TestHotKey::destroyedHotKeyIsUnregisteredAndItsIdNeverReused()
{
    FakeDesktopPlatform platform;
    platform.shortcuts.taken = {reply};
    auto* first = new HotKey(ask, platform.shortcuts);
    HotKey::deliver({HotKey::signature, first->id()}, true);
    delete first;
    QVERIFY(platform.shortcuts.registered.isEmpty());
    HotKey second(ask, platform.shortcuts);
    QSignalSpy presses(&second, &HotKey::pressed);
    const HotKey taken(reply, platform.shortcuts);
    QVERIFY(!taken.isRegistered());
    QCOMPARE(platform.shortcuts.registered.keys(), QList{second.id()});
    // The press queued for the destroyed hot key runs now: it must reach nothing, not its successor.
    QCoreApplication::processEvents();
    QCOMPARE(presses.count(), 0);
}

QTEST_GUILESS_MAIN(TestHotKey)
#include "tst_hotkey.moc"
