#include "platform/BusAccessibilitySwitch.h"
#include "platform/MicrophonePortal.h"
#include "platform/RunningQtApps.h"
#include "platform/SystemVoiceCheck.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QTemporaryDir>
#include <QTest>

namespace {

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

void addProcess(const QDir& proc, const QString& pid, const QByteArray& name, const QByteArray& maps)
{
    QVERIFY(proc.mkdir(pid));
    writeFile(proc.filePath(pid + QStringLiteral("/comm")), name + '\n');
    writeFile(proc.filePath(pid + QStringLiteral("/maps")), maps);
}

} // namespace

// The Linux adapters behind the home window's status rows. Runs on a private session bus, where the
// accessibility bus launcher starts on demand with the switch off.
class HomePlatformTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // GNOME's key is written to memory, never to the settings of the person running the tests.
        qputenv("GSETTINGS_BACKEND", "memory");
    }

    void runningQtAppsAreFoundByTheirGuiLibrary()
    {
        QTemporaryDir root;
        const QDir proc(root.path());
        const QByteArray qt6 =
            "7f00-7f10 r-xp 00000000 08:01 12 /usr/lib/x86_64-linux-gnu/libQt6Gui.so.6.4.2\n";
        const QByteArray qt5 = "7f00-7f10 r-xp 00000000 08:01 12 /usr/lib/x86_64-linux-gnu/libQt5Gui.so.5\n";
        const QByteArray gtk = "7f00-7f10 r-xp 00000000 08:01 12 /usr/lib/x86_64-linux-gnu/libgtk-3.so.0\n";
        addProcess(proc, QStringLiteral("101"), "konsole", qt6);
        addProcess(proc, QStringLiteral("102"), "Kate", qt5);
        addProcess(proc, QStringLiteral("103"), "mousepad", gtk);
        addProcess(proc, QStringLiteral("104"), "konsole", qt6);
        addProcess(proc, QStringLiteral("105"), "tavrin", qt6);
        QVERIFY(proc.mkdir(QStringLiteral("self")));
        QCOMPARE(RunningQtApps::list(root.path(), 105), (QStringList{"Kate", "konsole"}));
    }

    void theSwitchIsTurnedOnOnTheBus()
    {
        // Off to begin with, whatever the launcher read from the desktop's settings.
        QDBusMessage off = QDBusMessage::createMethodCall(
            QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
            QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"));
        off << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled")
            << QVariant::fromValue(QDBusVariant(false));
        QCOMPARE(QDBusConnection::sessionBus().call(off, QDBus::Block, 10000).type(),
                 QDBusMessage::ReplyMessage);

        BusAccessibilitySwitch accessibility;
        QObject context;
        std::optional<bool> before;
        accessibility.readEnabled(&context, [&](bool enabled) { before = enabled; });
        QTRY_VERIFY(before.has_value());
        QVERIFY(!*before);

        std::optional<Result<QStringList>> outcome;
        accessibility.enable(&context,
                             [&](const Result<QStringList>& mustRestart) { outcome = mustRestart; });
        QTRY_VERIFY_WITH_TIMEOUT(outcome.has_value(), 10000);
        QVERIFY2(outcome->ok(), outcome->ok() ? "" : qPrintable(outcome->error().message));

        std::optional<bool> after;
        accessibility.readEnabled(&context, [&](bool enabled) { after = enabled; });
        QTRY_VERIFY(after.has_value());
        QVERIFY(*after);
    }

    void aMissingSpeechModelNamesItsPackage()
    {
        QTemporaryDir empty;
        SystemVoiceCheck voice(empty.path(), std::make_unique<MicrophonePortal>());
        QObject context;
        std::optional<VoiceStatus> status;
        voice.check(&context, [&](const VoiceStatus& answer) { status = answer; });
        QTRY_VERIFY_WITH_TIMEOUT(status.has_value(), 20000);
        QVERIFY(!status->speech);
        QVERIFY(status->speechHelp.contains(QLatin1String("pocketsphinx-en-us")));
        QCOMPARE(status->microphoneHelp.isEmpty(), status->microphone);
    }
};

QTEST_GUILESS_MAIN(HomePlatformTest)
#include "tst_homeplatform.moc"
