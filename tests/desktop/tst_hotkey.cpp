#include "FakeDesktopPlatform.h"
#include "desktop/HotKey.h"

#include <QSignalSpy>
#include <QTest>

namespace {

const KeyChord ask{Qt::Key_Space, Qt::AltModifier};
const KeyChord reply{Qt::Key_Space, Qt::AltModifier | Qt::ShiftModifier};

} // namespace

class TestHotKey : public QObject
{
    Q_OBJECT

private slots:
    void destroyedHotKeyIsUnregisteredAndItsIdNeverReused();
};

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
