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
    void idsCountUpAndAreNeverReused();
    void takenShortcutIsNotRegistered();
    void deliversOnTheMainThreadInOrder();
    void onlyTheMatchingHotKeyFires();
    void destroyedHotKeyIsUnregisteredAndSkipped();
};

void TestHotKey::idsCountUpAndAreNeverReused()
{
    FakeDesktopPlatform platform;
    quint32 firstId = 0;
    {
        HotKey first(ask);
        firstId = first.id();
        HotKey second(reply);
        QCOMPARE(second.id(), firstId + 1);
    }
    HotKey third(ask);
    QCOMPARE(third.id(), firstId + 2);
    QCOMPARE(platform.shortcuts.signatures, QList<quint32>(3, 0x4452564E));
}

void TestHotKey::takenShortcutIsNotRegistered()
{
    FakeDesktopPlatform platform;
    platform.shortcuts.taken = {ask};
    HotKey hotKey(ask);
    QSignalSpy presses(&hotKey, &HotKey::pressed);

    QVERIFY(!hotKey.isRegistered());
    QVERIFY(platform.shortcuts.registered.isEmpty());
    HotKey::deliver({HotKey::signature, hotKey.id() + 1000}, true);
    QCoreApplication::processEvents();
    QCOMPARE(presses.count(), 0);
}

void TestHotKey::deliversOnTheMainThreadInOrder()
{
    FakeDesktopPlatform platform;
    HotKey hotKey(ask);
    QVERIFY(hotKey.isRegistered());
    QStringList events;
    QList<QThread*> threads;
    connect(&hotKey, &HotKey::pressed, this, [&] {
        events << QStringLiteral("press");
        threads << QThread::currentThread();
    });
    connect(&hotKey, &HotKey::released, this, [&] {
        events << QStringLiteral("release");
        threads << QThread::currentThread();
    });

    // Adapters may report from a thread of their own; delivery must still be queued to the main thread.
    QThread* reporter = QThread::create([] {
        for (int i = 0; i < 3; ++i) {
            HotKey::deliver({HotKey::signature, 0}, true);
        }
    });
    reporter->start();
    reporter->wait();
    delete reporter;
    const quint32 id = hotKey.id();
    QThread* sender = QThread::create([id] {
        HotKey::deliver({HotKey::signature, id}, true);
        HotKey::deliver({HotKey::signature, id}, false);
        HotKey::deliver({HotKey::signature, id}, true);
        HotKey::deliver({HotKey::signature, id}, false);
    });
    sender->start();
    sender->wait();
    delete sender;

    QVERIFY(events.isEmpty());
    QTRY_COMPARE(events, QStringList({"press", "release", "press", "release"}));
    QCOMPARE(threads, QList<QThread*>(4, QThread::currentThread()));
}

void TestHotKey::onlyTheMatchingHotKeyFires()
{
    FakeDesktopPlatform platform;
    HotKey askKey(ask);
    HotKey replyKey(reply);
    QSignalSpy askPresses(&askKey, &HotKey::pressed);
    QSignalSpy replyPresses(&replyKey, &HotKey::pressed);

    platform.shortcuts.deliver(reply, true);

    QTRY_COMPARE(replyPresses.count(), 1);
    QCOMPARE(askPresses.count(), 0);
}

void TestHotKey::destroyedHotKeyIsUnregisteredAndSkipped()
{
    FakeDesktopPlatform platform;
    auto* hotKey = new HotKey(ask);
    const quint32 id = hotKey->id();
    HotKey::deliver({HotKey::signature, id}, true);
    delete hotKey;

    QVERIFY(platform.shortcuts.registered.isEmpty());
    // The queued delivery runs after the destruction and must find nothing to call.
    QCoreApplication::processEvents();
}

QTEST_GUILESS_MAIN(TestHotKey)
#include "tst_hotkey.moc"
