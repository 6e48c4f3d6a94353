#include "DesktopSession.h"
#include "desktop/HotKey.h"
#include "desktop/x11/X11Connection.h"
#include "desktop/x11/X11HotKeys.h"
#include "desktop/x11/X11Keys.h"

#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>

namespace {

const KeyChord ask{Qt::Key_Space, Qt::AltModifier};
const KeyChord reply{Qt::Key_Space, Qt::AltModifier | Qt::ShiftModifier};

// Another X client, with a connection and grabs of its own.
struct OtherClient
{
    X11Connection connection;
    X11Keys keys{connection.get()};
    X11HotKeys grabs{connection, keys};
    int keyPresses = 0;

    OtherClient()
    {
        connection.setEventHandler([this](const xcb_generic_event_t& event) {
            keyPresses += (event.response_type & 0x7f) == XCB_KEY_PRESS;
        });
    }
};

} // namespace

class TestX11HotKey : public QObject
{
    Q_OBJECT

private slots:
    void tapAndHold_data();
    void tapAndHold();
    void shortcutHeldByAnotherClient();
};

void TestX11HotKey::tapAndHold_data()
{
    QTest::addColumn<int>("holdMs");
    QTest::newRow("tap") << 0;
    // Longer than the server's auto-repeat delay (660 ms), so repeated presses reach the grab.
    QTest::newRow("hold") << 1500;
}

void TestX11HotKey::tapAndHold()
{
    QFETCH(int, holdMs);
    HotKey hotKey(ask);
    QVERIFY(hotKey.isRegistered());
    QStringList events;
    connect(&hotKey, &HotKey::pressed, this, [&] { events << QStringLiteral("press"); });
    connect(&hotKey, &HotKey::released, this, [&] { events << QStringLiteral("release"); });

    if (holdMs == 0) {
        QVERIFY(DesktopSession::key(QStringLiteral("key"), QStringLiteral("alt+space")));
    } else {
        QVERIFY(DesktopSession::key(QStringLiteral("keydown"), QStringLiteral("alt+space")));
        QTRY_COMPARE(events, QStringList{QStringLiteral("press")});
        // Holding the key is the input under test, not a wait for a result.
        QTest::qWait(holdMs);
        QVERIFY(DesktopSession::key(QStringLiteral("keyup"), QStringLiteral("alt+space")));
    }

    QTRY_COMPARE(events, QStringList({QStringLiteral("press"), QStringLiteral("release")}));
}

void TestX11HotKey::shortcutHeldByAnotherClient()
{
    auto other = std::make_unique<OtherClient>();
    QVERIFY(other->grabs.registerHotKey({0, 1}, reply));

    HotKey hotKey(reply);
    QSignalSpy presses(&hotKey, &HotKey::pressed);
    QVERIFY(!hotKey.isRegistered());
    QVERIFY(DesktopSession::key(QStringLiteral("key"), QStringLiteral("alt+shift+space")));
    QTRY_COMPARE(other->keyPresses, 1);
    QCOMPARE(presses.count(), 0);

    // Once the other client is gone the shortcut is free in every lock variant: nothing of ours was left.
    other.reset();
    OtherClient later;
    QVERIFY(later.grabs.registerHotKey({0, 2}, reply));
}

TAVRIN_DESKTOP_TEST_MAIN(TestX11HotKey)
#include "tst_x11hotkey.moc"
