#include "config/AgentConfig.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>
#include <sys/stat.h>

namespace {

mode_t modeOf(const QString& path)
{
    struct stat info
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return 0;
    return info.st_mode & 07777;
}

} // namespace

class TestAgentConfig : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_root;
    QString m_path;

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        QVERIFY(QFile::setPermissions(m_root.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                         QFileDevice::ExeOwner | QFileDevice::ReadGroup |
                                                         QFileDevice::ExeGroup | QFileDevice::ReadOther |
                                                         QFileDevice::ExeOther));
        m_path = m_root.filePath(QStringLiteral("home/.drovane/config.json"));
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(m_path));
        QCOMPARE(AgentConfig::fileURL(), m_path);
    }

    void cleanup() { AgentConfig::remove(); }

    void locationRules_data()
    {
        QTest::addColumn<QByteArray>("variable");
        QTest::addColumn<QString>("expected");
        const QString cwd = QDir::currentPath();
        QTest::newRow("unset or empty: home")
            << QByteArray() << QStringLiteral("/home/ana/.drovane/config.json");
        QTest::newRow("relative to the working directory") << QByteArray("a/c.json") << cwd + "/a/c.json";
    }
    void locationRules()
    {
        QFETCH(QByteArray, variable);
        QFETCH(QString, expected);
        QCOMPARE(AgentConfig::locate(variable, QStringLiteral("/home/ana")), expected);
    }

    void encodesSortedPrettyAndEscaped()
    {
        const AgentConfig withEmail{QStringLiteral("https://h.example/base"), QStringLiteral("t\"k"),
                                    QStringLiteral("ana@example.com")};
        QCOMPARE(withEmail.encode(), QByteArray("{\n"
                                                "  \"email\" : \"ana@example.com\",\n"
                                                "  \"serverURL\" : \"https:\\/\\/h.example\\/base\",\n"
                                                "  \"token\" : \"t\\\"k\"\n"
                                                "}"));
    }

    void decodes_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<bool>("readable");
        QTest::addColumn<QString>("email");
        QTest::newRow("no email") << QByteArray(R"({"serverURL":"u","token":"t"})") << true << QString();
        QTest::newRow("email and extra keys")
            << QByteArray(R"({"serverURL":"u","token":"t","email":"e","x":1})") << true
            << QStringLiteral("e");
        QTest::newRow("token missing") << QByteArray(R"({"serverURL":"u"})") << false << QString();
        QTest::newRow("email a number")
            << QByteArray(R"({"serverURL":"u","token":"t","email":5})") << false << QString();
        QTest::newRow("not JSON") << QByteArray("serverURL=u") << false << QString();
    }
    void decodes()
    {
        QFETCH(QByteArray, json);
        QFETCH(bool, readable);
        QFETCH(QString, email);
        const auto config = AgentConfig::decode(json);
        QCOMPARE(config.has_value(), readable);
        if (config)
            QCOMPARE(config->email.value_or(QString()), email);
    }

    void saveCreatesPrivateFoldersAndFile()
    {
        const AgentConfig config{QStringLiteral("http://127.0.0.1:1/"), QStringLiteral("tok"), std::nullopt};
        QVERIFY(config.save().ok());
        QCOMPARE(modeOf(m_root.path()), mode_t(0755)); // an existing folder keeps its mode
        QCOMPARE(modeOf(m_root.filePath("home")), mode_t(0700));
        QCOMPARE(modeOf(m_root.filePath("home/.drovane")), mode_t(0700));
        QCOMPARE(modeOf(m_path), mode_t(0600));
        QCOMPARE(AgentConfig::load(), config);

        // A file someone opened up is private again after the next save.
        QVERIFY(QFile::setPermissions(m_path, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                  QFileDevice::ReadGroup | QFileDevice::ReadOther));
        const AgentConfig changed{QStringLiteral("u"), QStringLiteral("t"), QStringLiteral("e@x")};
        QVERIFY(changed.save().ok());
        QCOMPARE(modeOf(m_path), mode_t(0600));
        QCOMPARE(AgentConfig::load(), changed);
    }

    // Query delimiters in the server and the token must not leak into the link's own query.
    void legacyPairingLinkRoundTrips()
    {
        const QString server = QStringLiteral("http://h:8080/p?a=1&b=2");
        const QString token = QStringLiteral("a+b=c&d%20 e");
        const auto link = AgentConfig{server, token, std::nullopt}.legacyPairingURL();
        QVERIFY(link.has_value());
        const QList<QPair<QString, QString>> items{{QStringLiteral("url"), server},
                                                   {QStringLiteral("token"), token}};
        QCOMPARE(QUrlQuery(*link).queryItems(QUrl::FullyDecoded), items);
        // What a link handler receives is the text form: it must parse back to the same values.
        const QUrl reparsed(link->toString(QUrl::FullyEncoded));
        QCOMPARE(QUrlQuery(reparsed).queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded), token);
    }
};

QTEST_GUILESS_MAIN(TestAgentConfig)
#include "tst_agentconfig.moc"
