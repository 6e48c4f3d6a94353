#include "platform/BusAccessibilitySwitch.h"
#include "platform/MicrophonePortal.h"
#include "platform/SystemVoiceCheck.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QTemporaryDir>
#include <QTest>

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
