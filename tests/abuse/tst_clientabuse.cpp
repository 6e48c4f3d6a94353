#include "FloodServer.h"
#include "ScriptedServer.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <sys/stat.h>

namespace {

QByteArray frame(const QByteArray& name, const QJsonObject& data)
{
    return "event: " + name + "\ndata: " + QJsonDocument(data).toJson(QJsonDocument::Compact) + "\n\n";
}

} // namespace

// The command line against a hostile service, and against a configuration file that is not one.
class TestClientAbuse : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString configFor(const QUrl& url)
    {
        const QString path =
            m_dir.filePath(QStringLiteral("config-%1.json").arg(QTest::currentTestFunction()));
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(QJsonDocument(QJsonObject{{"serverURL", url.toString()}, {"token", "T"}}).toJson());
        return path;
    }

    // Runs tavrin to its end while the event loop serves the scripted service.
    struct Run
    {
        int status = -1;
        QByteArray out;
        qint64 ms = 0;
    };
    Run tavrin(const QStringList& arguments, const QString& config)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("MORVIK_CONFIG_PATH", config);
        process.setProcessEnvironment(environment);
        QElapsedTimer clock;
        clock.start();
        process.start(QStringLiteral(TAVRIN_EXE), arguments);
        if (!QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; }, 60000))
            process.kill();
        process.waitForFinished();
        return {process.exitCode(), process.readAllStandardOutput(), clock.elapsed()};
    }

private slots:
    void oversizedAccountAnswersAreCut_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::newRow("announced 2 MiB") << QByteArray(
            "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 2097152\r\n\r\n");
        QTest::newRow("2 MiB without a length")
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n\r\n");
    }
    void oversizedAccountAnswersAreCut()
    {
        QFETCH(QByteArray, head);
        FloodServer server(head + "{\"user\":", QByteArray(1024, ' '), 2 << 20);
        server.release();
        const Run run = tavrin({"--whoami"}, configFor(server.url()));
        QCOMPARE(run.status, 1);
        QVERIFY2(run.out.contains("too large"), run.out.constData());
    }

    void aDrippingAccountAnswerEndsOnTime()
    {
        // A byte a second: never silent for long enough to look stalled.
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        QPointer<QTcpSocket> client;
        QTimer drip;
        connect(&server, &QTcpServer::newConnection, this, [&] {
            client = server.nextPendingConnection();
            client->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: "
                          "100000\r\n\r\n{\"user\":");
            drip.start(1000);
        });
        connect(&drip, &QTimer::timeout, this, [&client] {
            if (client)
                client->write(" ");
        });
        const Run run = tavrin(
            {"--whoami"}, configFor(QUrl(QStringLiteral("http://127.0.0.1:%1").arg(server.serverPort()))));
        QCOMPARE(run.status, 1);
        QVERIFY2(run.out.contains("took too long"), run.out.constData());
        QVERIFY2(run.ms < 30000, QByteArray::number(run.ms));
    }

    void serverTextCannotDriveTheTerminal()
    {
        // A title, a clear screen, a carriage return and an 8-bit escape (U+009B) among plain text.
        const QString answer =
            QStringLiteral("safe \x1b]0;owned\x07title\x1b[2J\r") + QChar(0x9b) + "31m\ttab\n";
        ScriptedServer server;
        server.enqueue(ScriptedResponse()
                           .header("Content-Type", "text/event-stream")
                           .part(frame("delta", {{"t", answer}}) +
                                 frame("link", {{"url", "javascript:alert(1)"}, {"message", "evil link"}}) +
                                 frame("link", {{"url", "https://example.com/a"}, {"message", "good link"}}) +
                                 frame("done", {{"ms", 1}, {"route", "r"}})));
        const Run run = tavrin({"--ask", "hello"}, configFor(server.url()));
        QCOMPARE(run.status, 0);
        QVERIFY2(run.out.contains("safe ]0;ownedtitle[2J31m\ttab\n"), run.out.constData());
        for (const char control : {'\x1b', '\x07', '\r'})
            QVERIFY(!run.out.contains(control));
        QVERIFY(!run.out.contains("\xc2\x9b"));
        QVERIFY(!run.out.contains("javascript:"));
        QVERIFY(run.out.contains("evil link\n"));
        QVERIFY(run.out.contains("link: https://example.com/a\ngood link\n"));
    }

    void configurationThatIsNoFileReadsAsNone_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("FIFO") << "fifo";
        QTest::newRow("device") << "device";
        QTest::newRow("over 64 KiB") << "large";
    }
    void configurationThatIsNoFileReadsAsNone()
    {
        QFETCH(QString, kind);
        QString path = m_dir.filePath("odd-config-" + kind);
        if (kind == "fifo") {
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        } else if (kind == "device") {
            path = QStringLiteral("/dev/zero");
        } else {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(R"({"serverURL":"http://127.0.0.1:9","token":"T","padding":")" +
                       QByteArray(70000, 'x') + "\"}");
        }
        const Run run = tavrin({"--whoami"}, path);
        QCOMPARE(run.status, 2);
        QCOMPARE(run.out, QByteArray("not signed in\n"));
        QVERIFY2(run.ms < 10000, QByteArray::number(run.ms));
    }
};

QTEST_GUILESS_MAIN(TestClientAbuse)
#include "tst_clientabuse.moc"
