#include "FakeDesktopPlatform.h"
#include "app/AskShortcuts.h"
#include "app/Autostart.h"
#include "app/DesktopOptionsView.h"
#include "app/ShortcutRecorder.h"
#include "config/Preferences.h"

#include <QFile>
#include <QLabel>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const KeyChord altSpace{Qt::Key_Space, Qt::AltModifier};
const KeyChord altShiftSpace{Qt::Key_Space, Qt::AltModifier | Qt::ShiftModifier};
const KeyChord ctrlAltK{Qt::Key_K, Qt::ControlModifier | Qt::AltModifier};
const KeyChord ctrlAltShiftK{Qt::Key_K, Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier};

bool shows(const QWidget& window, const QString& text)
{
    const QList<QLabel*> labels = window.findChildren<QLabel*>();
    return std::any_of(labels.begin(), labels.end(),
                       [&](const QLabel* label) { return label->isVisible() && label->text() == text; });
}

} // namespace

// The shortcut pair and its recorder, start at login, and the home window's row naming the shortcut.
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

    // A shortcut another program holds is refused in the desktop test, against a real grab.
    void recorderWaitsForAUsableCombination()
    {
        AskShortcuts shortcuts(m_desktop->shortcuts);
        shortcuts.install(QKeySequence(QStringLiteral("Alt+Space")));
        ShortcutRecorder recorder(shortcuts.shortcut(),
                                  [&](const QKeySequence& shortcut) { return shortcuts.change(shortcut); });
        recorder.show();

        // A modifier on its own is a combination still being pressed.
        QTest::keyClick(&recorder, Qt::Key_Control, Qt::ControlModifier);
        QVERIFY(!shows(recorder, ShortcutRecorder::unusableText));
        QTest::keyClick(&recorder, Qt::Key_F8);
        QVERIFY(shows(recorder, ShortcutRecorder::unusableText));
        QVERIFY(recorder.isVisible());
        QTest::keyClick(&recorder, Qt::Key_J, Qt::ControlModifier | Qt::AltModifier);
        QCOMPARE(recorder.result(), int(QDialog::Accepted));
        QCOMPARE(shortcuts.shortcut(), QKeySequence(QStringLiteral("Ctrl+Alt+J")));
    }

    void homeRowFollowsTheShortcut()
    {
        QTemporaryDir config;
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, config.path());
        DesktopOptionsView view(false);
        view.show();
        Preferences::setAskShortcut(QStringLiteral("Ctrl+Alt+K"));
        QVERIFY(shows(view,
                      QStringLiteral("This desktop shows no status icon. Start Tavrin again to bring this "
                                     "window back; Ctrl+Alt+Shift+K replies to copied text; Ctrl+Q quits.")));
        Preferences::setAskShortcut(Preferences::defaultAskShortcut);
    }

    void startAtLoginWritesAndRemovesTheEntry()
    {
        QTemporaryDir config;
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        QVERIFY(!Autostart::isEnabled());
        QVERIFY(Autostart::setEnabled(true, QStringLiteral("/opt/my apps/tavrin")).ok());
        QVERIFY(Autostart::isEnabled());
        QFile entry(config.filePath(QStringLiteral("autostart/tavrin.desktop")));
        QVERIFY(entry.open(QIODevice::ReadOnly));
        QVERIFY(entry.readAll().contains("\nExec=\"/opt/my apps/tavrin\"\n"));
        QVERIFY(Autostart::setEnabled(false, QString()).ok());
        QVERIFY(!Autostart::isEnabled());
        QVERIFY(!entry.exists());
    }
};

QTEST_MAIN(TestAskShortcuts)
#include "tst_askshortcuts.moc"
