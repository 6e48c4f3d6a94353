#include "ScriptedServer.h"
#include "ServiceProcess.h"
#include "TavrinProcess.h"

#include <QFile>
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
        ScriptedServer upstream;
        upstream.enqueue(ScriptedResponse()
                             .header("Content-Type", "text/event-stream")
                             .part("data: {\"choices\":[{\"delta\":{\"content\":\"Lima\"}}]}\n\n")
                             .part("data: {\"choices\":[{\"delta\":{\"content\":\" is the capital.\"}}]}\n\n")
                             .part("data: [DONE]\n\n"));
        ServiceProcess service({"--token", "T", "--upstream", upstream.url("/v1").toString(), "--model", "m",
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
        QVERIFY2(tavrin.out().startsWith("route: m (127.0.0.1:" + QByteArray::number(upstream.url().port()) +
                                         ")\nLima is the capital.\ndone: m in "),
                 tavrin.out().constData());

        QCOMPARE(upstream.requests().size(), 1);
        const RecordedRequest& request = upstream.requests().constFirst();
        QCOMPARE(request.path, QByteArray("/v1/chat/completions"));
        QCOMPARE(request.header("Authorization"), QByteArray("Bearer sk-secret"));
        QVERIFY(request.body.contains("capital of Peru"));
        QVERIFY2(!service.log().contains("sk-secret"), "the API key reached the log");
    }
};

QTEST_GUILESS_MAIN(TestUpstreamAsk)
#include "tst_upstreamask.moc"
