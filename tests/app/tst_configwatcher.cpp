#include "FakeDesktopPlatform.h"
#include "MakeTestSession.h"
#include "app/ConfigWatcher.h"
#include "config/AgentConfig.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// The first sign-in, before the configuration's folder exists; later changes and the sign-out are
// followed in the desktop test.
class TestConfigWatcher : public QObject
{
    Q_OBJECT

private slots:
    void findsAFileInAFolderMadeAfterItStarted()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("sub/config.json"));
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(path));
        QCOMPARE(AgentConfig::fileURL(), path);
        FakeDesktopPlatform desktop;
        const std::unique_ptr<Session> session = makeTestSession(desktop);
        ConfigWatcher watcher(*session);
        QSignalSpy replaced(&watcher, &ConfigWatcher::configReplaced);
        watcher.check();
        QCOMPARE(replaced.count(), 0);

        const AgentConfig signedIn{QStringLiteral("https://tavrin.example"), QStringLiteral("tok"),
                                   QStringLiteral("ana@example.com")};
        QVERIFY(signedIn.save().ok());
        // No folder to watch yet: the periodic look finds the file.
        QVERIFY(replaced.wait(ConfigWatcher::intervalMs + 2000));
        QCOMPARE(session->config(), signedIn);
    }
};

QTEST_MAIN(TestConfigWatcher)
#include "tst_configwatcher.moc"
