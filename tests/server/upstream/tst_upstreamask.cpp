#include "ScriptedUpstream.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int deadlineMs = 20'000;

QProcessEnvironment withoutDisplay()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DISPLAY"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    return environment;
}

} // namespace

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
        QProcessEnvironment serviceEnvironment = withoutDisplay();
        serviceEnvironment.insert(QStringLiteral("TEST_MODEL_KEY"), QStringLiteral("sk-secret"));
        service.setProcessEnvironment(serviceEnvironment);
        service.start(QStringLiteral(TAVRIN_SERVICE_EXE),
                      {"--port", "0", "--token", "T", "--upstream", upstream.baseUrl(), "--model", "m",
                       "--api-key-env", "TEST_MODEL_KEY"});
        while (!service.canReadLine() && service.waitForReadyRead(deadlineMs)) {
        }
        const QString listening = QString::fromUtf8(service.readLine()).trimmed();
        QVERIFY2(listening.startsWith("listening on "), service.readAllStandardError().constData());

        QTemporaryDir home;
        QFile config(home.filePath("config.json"));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write(
            QJsonDocument(QJsonObject{{"serverURL", listening.sliced(13)}, {"token", "T"}}).toJson());
        config.close();
        QProcess tavrin;
        QProcessEnvironment environment = withoutDisplay();
        environment.insert(QStringLiteral("MORVIK_CONFIG_PATH"), config.fileName());
        // Now and then the command-line tool leaks Qt Network objects at exit, which fails its exit status
        // under the sanitizer; its own tests answer for that, this one for the path through the service.
        environment.insert(QStringLiteral("ASAN_OPTIONS"), environment.value(QStringLiteral("ASAN_OPTIONS")) +
                                                               QStringLiteral(":detect_leaks=0"));
        tavrin.setProcessEnvironment(environment);
        tavrin.start(QStringLiteral(TAVRIN_EXE), {"--ask", "what is the capital of Peru?"});
        QVERIFY(tavrin.waitForFinished(deadlineMs));
        const QString out = QString::fromUtf8(tavrin.readAllStandardOutput());
        QVERIFY2(tavrin.exitCode() == 0, qPrintable(out + tavrin.readAllStandardError()));
        QVERIFY2(
            out.startsWith("route: m (" + upstream.serverName() + ")\nLima is the capital.\ndone: m in "),
            qPrintable(out));

        QCOMPARE(upstream.received().size(), 1);
        const ScriptedUpstream::Received request = upstream.received().constFirst();
        QCOMPARE(request.authorization, QStringLiteral("Bearer sk-secret"));
        QVERIFY(request.body["messages"].toArray().last()["content"].toString().contains("capital of Peru"));
        service.terminate();
        QVERIFY(service.waitForFinished(deadlineMs));
        QVERIFY2(!service.readAllStandardError().contains("sk-secret"), "the API key reached the log");
    }
};

QTEST_GUILESS_MAIN(TestUpstreamAsk)
#include "tst_upstreamask.moc"
