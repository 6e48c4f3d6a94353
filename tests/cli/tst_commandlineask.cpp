#include "ScriptedServer.h"
#include "TavrinProcess.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
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

const QByteArray usage = "usage: tavrin [--panel | --reply] | --ask QUESTION | --signin SERVER EMAIL | "
                         "--pair SERVER CODE | --whoami | --new-code | --signout | --help | --version\n";

} // namespace

// `tavrin --ask` and the other modes that need no account: what they send, what they print byte for
// byte, and how they exit.
class TestCommandLineAsk : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    // The configuration file holding these bytes; empty bytes leave no file at all.
    QString configWith(const QByteArray& contents) const
    {
        const QString path = QDir(m_dir.path()).absoluteFilePath(QStringLiteral("drovane/config.json"));
        QFile::remove(path);
        if (!contents.isEmpty()) {
            QDir().mkpath(QFileInfo(path).path());
            QFile file(path);
            if (!file.open(QIODevice::WriteOnly))
                qFatal("cannot write %s", qPrintable(path));
            file.write(contents);
        }
        return path;
    }
    QString configFor(const QUrl& server) const
    {
        return configWith(
            QJsonDocument(QJsonObject{{"serverURL", server.toString()}, {"token", "cli-token"}}).toJson());
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
        TavrinProcess tavrin({"--ask", "hi"}, {{"MORVIK_CONFIG_PATH", configFor(server.url())}});
        QVERIFY(tavrin.finish());
        QCOMPARE(tavrin.out(), printed);
        QVERIFY2(tavrin.err().isEmpty(), tavrin.err().constData());
        QCOMPARE(tavrin.status(), exitStatus);

        QCOMPARE(server.requests().size(), 1);
        const RecordedRequest& sent = server.requests().first();
        QCOMPARE(sent.header("Authorization"), QByteArray("Bearer cli-token"));
        const QJsonObject expected{{"text", "hi"}, {"app", "selftest"}, {"device", "mac"}};
        QCOMPARE(QJsonDocument::fromJson(sent.body).object(), expected);
    }

    void deltasAppearAsTheyArrive()
    {
        ScriptedServer server;
        server.enqueue(ScriptedResponse().part(delta("Hel")).heldPart(delta("lo")));
        TavrinProcess tavrin({"--ask", "hi"}, {{"MORVIK_CONFIG_PATH", configFor(server.url())}});
        QVERIFY(tavrin.waitForOutput("Hel"));
        QVERIFY(server.isHolding());
        server.release();
        QVERIFY(tavrin.finish());
        QCOMPARE(tavrin.out(), QByteArray("Hello"));
        QCOMPARE(tavrin.status(), 0);
    }

    // Every mode that ends before any request: "%1" in an expected text stands for the file's path.
    void endsWithoutAsking_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("config");
        QTest::addColumn<QByteArray>("out");
        QTest::addColumn<QByteArray>("err");
        QTest::addColumn<int>("exitStatus");
        const QByteArray valid = R"({"serverURL":"http://127.0.0.1:1","token":"t"})";
        QTest::newRow("help") << QStringList{"--help"} << QByteArray() << usage << QByteArray() << 0;
        QTest::newRow("version") << QStringList{"--version"} << QByteArray()
                                 << QByteArray("tavrin " TAVRIN_VERSION "\n") << QByteArray() << 0;
        QTest::newRow("ask without a question")
            << QStringList{"--ask"} << valid << QByteArray() << usage << 64;
        QTest::newRow("signin without e-mail")
            << QStringList{"--signin", "http://127.0.0.1:1"} << valid << QByteArray()
            << QByteArray("usage: tavrin --signin SERVER EMAIL\n") << 64;
        QTest::newRow("pair without anything") << QStringList{"--pair"} << valid << QByteArray()
                                               << QByteArray("usage: tavrin --pair SERVER CODE\n") << 64;
        QTest::newRow("ask, no configuration") << QStringList{"--ask", "hi"} << QByteArray()
                                               << QByteArray("no config at %1\n") << QByteArray() << 2;
        QTest::newRow("signout, no configuration")
            << QStringList{"--signout"} << QByteArray() << QByteArray("not signed in\n") << QByteArray() << 2;
    }
    void endsWithoutAsking()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, config);
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, err);
        QFETCH(int, exitStatus);
        const QString path = configWith(config);
        TavrinProcess tavrin(arguments, {{"MORVIK_CONFIG_PATH", path}});
        QVERIFY(tavrin.finish());
        QCOMPARE(tavrin.out(), out.replace("%1", QFile::encodeName(path)));
        QCOMPARE(tavrin.err(), err);
        QCOMPARE(tavrin.status(), exitStatus);
    }
};

QTEST_GUILESS_MAIN(TestCommandLineAsk)
#include "tst_commandlineask.moc"
