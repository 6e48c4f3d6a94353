#include "FakeDesktopPlatform.h"
#include "app/AskShortcuts.h"
#include "app/Autostart.h"
#include "desktop/HotKey.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const KeyChord altSpace{Qt::Key_Space, Qt::AltModifier};
const KeyChord altShiftSpace{Qt::Key_Space, Qt::AltModifier | Qt::ShiftModifier};
const KeyChord ctrlAltK{Qt::Key_K, Qt::ControlModifier | Qt::AltModifier};
const KeyChord ctrlAltShiftK{Qt::Key_K, Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier};

} // namespace

// The shortcut pair, and the other preference kept outside the settings: start at login.
class TestAskShortcuts : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<FakeDesktopPlatform> m_desktop;

    QList<KeyChord> registered() const { return m_desktop->shortcuts.registered.values(); }

private slots:
    void init() { m_desktop = std::make_unique<FakeDesktopPlatform>(); }
    void cleanup() { m_desktop.reset(); }

    void usableShortcuts_data()
    {
        QTest::addColumn<QString>("shortcut");
        QTest::addColumn<bool>("usable");
        QTest::newRow("Alt+Space") << "Alt+Space" << true;
        QTest::newRow("Ctrl+Alt+K") << "Ctrl+Alt+K" << true;
        QTest::newRow("Meta+J") << "Meta+J" << true;
        QTest::newRow("no modifier") << "F8" << false;
        QTest::newRow("Shift is the reply's") << "Ctrl+Shift+K" << false;
        QTest::newRow("a modifier alone") << "Ctrl+Alt" << false;
        QTest::newRow("two chords") << "Ctrl+K, Ctrl+J" << false;
    }
    void usableShortcuts()
    {
        QFETCH(QString, shortcut);
        QFETCH(bool, usable);
        QCOMPARE(AskShortcuts::isUsable(QKeySequence(shortcut, QKeySequence::PortableText)), usable);
    }

    void changeReplacesThePairOnlyWhenBothAreGranted()
    {
        AskShortcuts shortcuts(m_desktop->shortcuts);
        shortcuts.install(QKeySequence(QStringLiteral("Alt+Space")));
        QVERIFY(shortcuts.isRegistered());
        QCOMPARE(registered(), (QList<KeyChord>{altSpace, altShiftSpace}));

        m_desktop->shortcuts.taken = {ctrlAltShiftK};
        QCOMPARE(shortcuts.change(QKeySequence(QStringLiteral("Ctrl+Alt+K"))), AskShortcuts::Outcome::Taken);
        QCOMPARE(registered(), (QList<KeyChord>{altSpace, altShiftSpace}));
        QCOMPARE(shortcuts.shortcut(), QKeySequence(QStringLiteral("Alt+Space")));

        m_desktop->shortcuts.taken.clear();
        QSignalSpy changed(&shortcuts, &AskShortcuts::shortcutChanged);
        QCOMPARE(shortcuts.change(QKeySequence(QStringLiteral("Ctrl+Alt+K"))),
                 AskShortcuts::Outcome::Registered);
        QCOMPARE(registered(), (QList<KeyChord>{ctrlAltK, ctrlAltShiftK}));
        QCOMPARE(changed.count(), 1);

        QCOMPARE(shortcuts.change(QKeySequence(QStringLiteral("F8"))), AskShortcuts::Outcome::Unusable);
        QCOMPARE(registered(), (QList<KeyChord>{ctrlAltK, ctrlAltShiftK}));
    }

    void aShortcutTakenAtLaunchCanBeReplaced()
    {
        m_desktop->shortcuts.taken = {altSpace};
        AskShortcuts shortcuts(m_desktop->shortcuts);
        shortcuts.install(QKeySequence(QStringLiteral("Alt+Space")));
        QVERIFY(!shortcuts.isRegistered());
        QCOMPARE(shortcuts.change(QKeySequence(QStringLiteral("Meta+Space"))),
                 AskShortcuts::Outcome::Registered);
        QVERIFY(shortcuts.isRegistered());
    }

    void pressesOfTheShortcutInForceArrive()
    {
        AskShortcuts shortcuts(m_desktop->shortcuts);
        shortcuts.install(QKeySequence(QStringLiteral("Alt+Space")));
        shortcuts.change(QKeySequence(QStringLiteral("Ctrl+Alt+K")));
        QSignalSpy asked(&shortcuts, &AskShortcuts::askPressed);
        QSignalSpy replied(&shortcuts, &AskShortcuts::replyPressed);
        for (auto id = m_desktop->shortcuts.registered.keyBegin();
             id != m_desktop->shortcuts.registered.keyEnd(); ++id)
            HotKey::deliver({HotKey::signature, *id}, true);
        QTRY_COMPARE(asked.count(), 1);
        QCOMPARE(replied.count(), 1);
    }

    void startAtLoginWritesAndRemovesTheEntry()
    {
        QTemporaryDir config;
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        QVERIFY(!Autostart::isEnabled());
        QCOMPARE(Autostart::setEnabled(true, QStringLiteral("/opt/my apps/tavrin")), std::nullopt);
        QVERIFY(Autostart::isEnabled());
        QFile entry(config.filePath(QStringLiteral("autostart/tavrin.desktop")));
        QVERIFY(entry.open(QIODevice::ReadOnly));
        QVERIFY(entry.readAll().contains("\nExec=\"/opt/my apps/tavrin\"\n"));
        QCOMPARE(Autostart::setEnabled(false, QString()), std::nullopt);
        QVERIFY(!Autostart::isEnabled());
        QVERIFY(!entry.exists());
    }
};

QTEST_MAIN(TestAskShortcuts)
#include "tst_askshortcuts.moc"
