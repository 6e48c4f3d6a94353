#include "FakeDesktopPlatform.h"
#include "MakeTestSession.h"
#include "app/ConfigWatcher.h"
#include "config/AgentConfig.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

class TestConfigWatcher : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;
    FakeDesktopPlatform m_desktop;
    std::unique_ptr<Session> m_session = makeTestSession(m_desktop);
    std::unique_ptr<ConfigWatcher> m_watcher;

    static const AgentConfig& signedIn()
    {
        static const AgentConfig config{QStringLiteral("https://tavrin.example"), QStringLiteral("tok"),
                                        QStringLiteral("ana@example.com")};
        return config;
    }

private slots:
    void initTestCase()
    {
        // The file lives in a folder that does not exist yet, as before a first sign-in.
        qputenv("MORVIK_CONFIG_PATH",
                QFile::encodeName(m_folder.filePath(QStringLiteral("sub/config.json"))));
        QCOMPARE(AgentConfig::fileURL(), m_folder.filePath(QStringLiteral("sub/config.json")));
        m_watcher = std::make_unique<ConfigWatcher>(*m_session);
    }

    void cleanupTestCase() { m_watcher.reset(); }

    // The first sign-in; later changes and the sign-out are followed in the desktop test.
    void findsAFileInAFolderMadeAfterItStarted()
    {
        QSignalSpy replaced(m_watcher.get(), &ConfigWatcher::configReplaced);
        m_watcher->check();
        QCOMPARE(replaced.count(), 0);
        QVERIFY(signedIn().save().ok());
        // No folder to watch yet: the periodic look finds the file.
        QVERIFY(replaced.wait(ConfigWatcher::intervalMs + 2000));
        QCOMPARE(m_session->config(), signedIn());
    }

    void unreadableContentIsSignedOut()
    {
        QVERIFY(signedIn().save().ok());
        m_watcher->check();
        QCOMPARE(m_session->config(), signedIn());
        QFile file(AgentConfig::fileURL());
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write("{ not json");
        file.close();
        m_watcher->check();
        QCOMPARE(m_session->config(), std::nullopt);
    }
};

QTEST_MAIN(TestConfigWatcher)
#include "tst_configwatcher.moc"
