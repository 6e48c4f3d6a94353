#include "ScriptedUpstream.h"
#include "ServiceProcess.h"
#include "TavrinProcess.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

// The whole path: `tavrin --ask` through tavrin-service to a model server and back.
class TestUpstreamAsk : public QObject
{
    Q_OBJECT

private slots:
    void commandLineAskStreamsTheModelsAnswer()
    {
        ScriptedUpstream upstream;
        upstream.enqueue({200,
                          {ScriptedUpstream::content("Lima"), ScriptedUpstream::content(" is the capital."),
                           "data: [DONE]\n\n"}});
        ServiceProcess service({"--token", "T", "--upstream", upstream.baseUrl(), "--model", "m",
                                "--api-key-env", "TEST_MODEL_KEY"},
                               {{"TEST_MODEL_KEY", "sk-secret"}});
        QVERIFY2(service.started(), service.log().constData());

        QTemporaryDir home;
        QFile config(home.filePath("config.json"));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write(QJsonDocument(QJsonObject{{"serverURL", service.url()}, {"token", "T"}}).toJson());
        config.close();
        TavrinProcess tavrin({"--ask", "what is the capital of Peru?"},
                             {{"MORVIK_CONFIG_PATH", config.fileName()}});
        QVERIFY(tavrin.finish());
        QVERIFY2(tavrin.status() == 0, tavrin.out() + tavrin.err());
        QVERIFY2(tavrin.out().startsWith("route: m (" + upstream.serverName().toUtf8() +
                                         ")\nLima is the capital.\ndone: m in "),
                 tavrin.out().constData());

        QCOMPARE(upstream.received().size(), 1);
        const ScriptedUpstream::Received request = upstream.received().constFirst();
        QCOMPARE(request.authorization, QStringLiteral("Bearer sk-secret"));
        QVERIFY(request.body["messages"].toArray().last()["content"].toString().contains("capital of Peru"));
        QVERIFY2(!service.log().contains("sk-secret"), "the API key reached the log");
    }
};

QTEST_GUILESS_MAIN(TestUpstreamAsk)
#include "tst_upstreamask.moc"
