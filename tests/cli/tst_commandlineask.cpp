#include "ScriptedServer.h"
#include "TavrinProcess.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray line(const QByteArray& name, const QByteArray& json)
{
    return "event: " + name + "\ndata: " + json + "\n";
}

QByteArray delta(const QByteArray& text)
{
    return line("delta", "{\"t\":\"" + text + "\"}");
}

// The runner, with the configuration file it is given.
class Tavrin : public TavrinProcess
{
public:
    Tavrin(const QStringList& arguments, const QString& configPath)
        : TavrinProcess(arguments, {{QStringLiteral("MORVIK_CONFIG_PATH"), configPath}})
    {}
};

} // namespace

// `tavrin --ask`: what it sends, what it prints byte for byte, and how it exits.
class TestCommandLineAsk : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString configFor(const QString& serverURL) const
    {
        const QString path = m_dir.filePath(QStringLiteral("config.json"));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            qFatal("cannot write %s", qPrintable(path));
        file.write(QJsonDocument(QJsonObject{{"serverURL", serverURL}, {"token", "cli-token"}}).toJson());
        return path;
    }

private slots:
    void printsTheAnswer_data()
    {
        QTest::addColumn<int>("httpStatus");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("printed");
        QTest::addColumn<int>("exitStatus");
        QTest::newRow("route, two deltas, done")
            << 200
            << line("route", "{\"route\":\"r\",\"source\":\"s\"}") + delta("Hel") + delta("lo") +
                   line("done", "{\"ms\":812,\"route\":\"r\"}")
            << QByteArray("route: r (s)\nHello\ndone: r in 812 ms\n") << 0;
        QTest::newRow("link") << 200
                              << line("link", "{\"url\":\"https://t.example/j/1\",\"message\":\"Follow it\"}")
                              << QByteArray("link: https://t.example/j/1\nFollow it\n") << 0;
        QTest::newRow("reset") << 200 << delta("draft") + line("reset", "{}") + delta("final")
                               << QByteArray("draft\n[reset]\nfinal") << 0;
        QTest::newRow("failure event, then more deltas")
            << 200 << line("error", "{\"message\":\"model down\"}") + delta("still here")
            << QByteArray("error: model down\nstill here") << 1;
        QTest::newRow("non-ASCII text")
            << 200 << delta("h\xc3\xa9llo \xe2\x9c\x93") << QByteArray("h\xc3\xa9llo \xe2\x9c\x93") << 0;
        QTest::newRow("signed out")
            << 401 << QByteArray("{\"error\":\"token revoked\"}")
            << QByteArray("transport error: This Mac is signed out. Open Tavrin and sign in again.\n") << 1;
        QTest::newRow("service error") << 500 << QByteArray("{\"error\":\"model down\"}")
                                       << QByteArray("transport error: model down\n") << 1;
    }
    void printsTheAnswer()
    {
        QFETCH(int, httpStatus);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, printed);
        QFETCH(int, exitStatus);
        ScriptedServer server;
        server.enqueue(ScriptedResponse(httpStatus).part(body));
        Tavrin tavrin({"--ask", "hi"}, configFor(server.url().toString()));
        QVERIFY(tavrin.finish());
        QCOMPARE(tavrin.out(), printed);
        QVERIFY2(tavrin.err().isEmpty(), tavrin.err().constData());
        QCOMPARE(tavrin.status(), exitStatus);
    }

    void deltasAppearAsTheyArrive()
    {
        ScriptedServer server;
        server.enqueue(ScriptedResponse().part(delta("Hel")).heldPart(delta("lo")));
        Tavrin tavrin({"--ask", "hi"}, configFor(server.url().toString()));
        QVERIFY(tavrin.waitForOutput("Hel"));
        QVERIFY(server.isHolding());
        server.release();
        QVERIFY(tavrin.finish());
        QCOMPARE(tavrin.out(), QByteArray("Hello"));
        QCOMPARE(tavrin.status(), 0);
    }

    void sendsTheQuestion_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("question");
        QTest::newRow("plain") << QStringList{"--ask", "what time is it"}
                               << QStringLiteral("what time is it");
        QTest::newRow("the question is another --ask")
            << QStringList{"--ask", "--ask"} << QStringLiteral("--ask");
        QTest::newRow("empty question") << QStringList{"--ask", ""} << QString();
        QTest::newRow("after other arguments") << QStringList{"extra", "--ask", "q"} << QStringLiteral("q");
        QTest::newRow("account option not first")
            << QStringList{"--ask", "q", "--whoami"} << QStringLiteral("q");
    }
    void sendsTheQuestion()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, question);
        ScriptedServer server;
        server.enqueue(ScriptedResponse().part(delta("ok")));
        Tavrin tavrin(arguments, configFor(server.url(QStringLiteral("/base")).toString()));
        QVERIFY(tavrin.finish());
        QCOMPARE(tavrin.status(), 0);

        QCOMPARE(server.requests().size(), 1);
        const RecordedRequest& sent = server.requests().first();
        QCOMPARE(sent.method, QByteArray("POST"));
        QCOMPARE(sent.path, QByteArray("/base/v1/ask"));
        QCOMPARE(sent.header("Authorization"), QByteArray("Bearer cli-token"));
        const QJsonObject expected{{"text", question}, {"app", "selftest"}, {"device", "mac"}};
        QCOMPARE(QJsonDocument::fromJson(sent.body).object(), expected);
    }

    void missingArgumentsAreAUsageError_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("ask without a question") << QStringList{"--ask"};
        QTest::newRow("signin without e-mail") << QStringList{"--signin", "http://127.0.0.1:1"};
        QTest::newRow("pair without anything") << QStringList{"--pair"};
    }
    void missingArgumentsAreAUsageError()
    {
        QFETCH(QStringList, arguments);
        ScriptedServer server;
        Tavrin tavrin(arguments, configFor(server.url().toString()));
        QVERIFY(tavrin.finish());
        QCOMPARE(tavrin.status(), 64);
        QVERIFY2(tavrin.err().startsWith("usage: ") && tavrin.err().count('\n') == 1, tavrin.err());
        QCOMPARE(tavrin.out(), QByteArray());
        QVERIFY(server.requests().isEmpty());
    }

    void helpAndVersion_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QByteArray>("printedStart");
        QTest::newRow("help") << QStringLiteral("--help") << QByteArray("usage: tavrin ");
        QTest::newRow("version") << QStringLiteral("--version") << QByteArray("tavrin " TAVRIN_VERSION "\n");
    }
    void helpAndVersion()
    {
        QFETCH(QString, option);
        QFETCH(QByteArray, printedStart);
        Tavrin tavrin({option}, m_dir.filePath(QStringLiteral("absent.json")));
        QVERIFY(tavrin.finish());
        QCOMPARE(tavrin.status(), 0);
        QVERIFY2(tavrin.out().startsWith(printedStart), tavrin.out());
    }

    void noConfiguration_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("missing") << QByteArray();
        QTest::newRow("broken JSON") << QByteArray("{\"serverURL\":");
    }
    void noConfiguration()
    {
        QFETCH(QByteArray, contents);
        const QTemporaryDir dir;
        const QString path = QDir(dir.path()).absoluteFilePath(QStringLiteral("drovane/config.json"));
        if (!contents.isEmpty()) {
            QVERIFY(QDir().mkpath(QFileInfo(path).path()));
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(contents);
        }
        Tavrin tavrin({"--ask", "hi"}, path);
        QVERIFY(tavrin.finish());
        QCOMPARE(tavrin.out(), "no config at " + QFile::encodeName(path) + "\n");
        QCOMPARE(tavrin.status(), 2);
    }
};

QTEST_GUILESS_MAIN(TestCommandLineAsk)
#include "tst_commandlineask.moc"
