#include "ScriptedUpstream.h"
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
        QProcess service;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TEST_MODEL_KEY"), QStringLiteral("sk-secret"));
        service.setProcessEnvironment(environment);
        service.start(QStringLiteral(TAVRIN_SERVICE_EXE),
                      {"--port", "0", "--token", "T", "--upstream", upstream.baseUrl(), "--model", "m",
                       "--api-key-env", "TEST_MODEL_KEY"});
        while (!service.canReadLine() && service.waitForReadyRead(20000)) {
        }
        const QString listening = QString::fromUtf8(service.readLine()).trimmed();
        QVERIFY2(listening.startsWith("listening on "), service.readAllStandardError().constData());

        QTemporaryDir home;
        QFile config(home.filePath("config.json"));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write(
            QJsonDocument(QJsonObject{{"serverURL", listening.sliced(13)}, {"token", "T"}}).toJson());
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
        service.terminate();
        QVERIFY(service.waitForFinished(20000));
        QVERIFY2(!service.readAllStandardError().contains("sk-secret"), "the API key reached the log");
    }
};

QTEST_GUILESS_MAIN(TestUpstreamAsk)
#include "tst_upstreamask.moc"
