#include "ServiceOptions.h"

#include <QTest>

// What --upstream, --model and --api-key-env turn into, and what they refuse.
class TestUpstreamOptions : public QObject
{
    Q_OBJECT

private slots:
    void readsTheUpstream_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("endpoint"); // or the start of the complaint
        QTest::addColumn<QString>("apiKey");
        const QStringList model{"--model", "m"};
        QTest::newRow("offline by default") << QStringList{} << QString() << QString();
        QTest::newRow("base URL") << QStringList{"--upstream", "http://127.0.0.1:11434/v1"} + model
                                  << "http://127.0.0.1:11434/v1/chat/completions" << QString();
        QTest::newRow("trailing slash") << QStringList{"--upstream", " https://api.example.com/v1/ "} + model
                                        << "https://api.example.com/v1/chat/completions" << QString();
        QTest::newRow("full endpoint with a query")
            << QStringList{"--upstream", "http://h:8000/chat/completions?v=2"} + model
            << "http://h:8000/chat/completions?v=2" << QString();
        QTest::newRow("key from the environment")
            << QStringList{"--upstream", "http://h/v1", "--api-key-env", "TEST_UPSTREAM_KEY"} + model
            << "http://h/v1/chat/completions"
            << "sk-1";
        QTest::newRow("no scheme") << QStringList{"--upstream", "localhost:11434"} + model
                                   << "--upstream needs an http or https URL" << QString();
        QTest::newRow("credentials in the URL") << QStringList{"--upstream", "http://u:sk-1@h/v1"} + model
                                                << "--upstream must not carry credentials" << QString();
        QTest::newRow("no model") << QStringList{"--upstream", "http://h/v1"} << "--upstream needs --model"
                                  << QString();
        QTest::newRow("model alone") << model << "--model only applies with --upstream" << QString();
        QTest::newRow("key variable unset")
            << QStringList{"--upstream", "http://h/v1", "--api-key-env", "TEST_UPSTREAM_UNSET"} + model
            << "The environment variable TEST_UPSTREAM_UNSET named by --api-key-env is not set." << QString();
        QTest::newRow("key variable empty")
            << QStringList{"--upstream", "http://h/v1", "--api-key-env", "TEST_UPSTREAM_EMPTY"} + model
            << "The environment variable TEST_UPSTREAM_EMPTY named by --api-key-env is empty." << QString();
    }
    void readsTheUpstream()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, endpoint);
        QFETCH(QString, apiKey);
        qputenv("TEST_UPSTREAM_KEY", "sk-1");
        qputenv("TEST_UPSTREAM_EMPTY", "");
        qunsetenv("TEST_UPSTREAM_UNSET");
        const auto parsed = ServiceOptions::parse(QStringList{"tavrin-service", "--token", "T"} + arguments);
        if (const QString* problem = std::get_if<QString>(&parsed)) {
            QVERIFY2(!endpoint.isEmpty() && problem->startsWith(endpoint), qPrintable(*problem));
            return;
        }
        const std::optional<UpstreamSettings>& upstream = std::get<ServiceOptions>(parsed).upstream;
        QCOMPARE(upstream.has_value(), !endpoint.isEmpty());
        if (!upstream)
            return;
        QCOMPARE(upstream->endpoint.toString(), endpoint);
        QCOMPARE(upstream->model, QStringLiteral("m"));
        QCOMPARE(upstream->apiKey, apiKey);
    }
};

QTEST_GUILESS_MAIN(TestUpstreamOptions)
#include "tst_upstreamoptions.moc"
