#include "HostileServer.h"
#include "ServiceProcess.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>
#include <thread>

namespace {

const QByteArray streamHead =
    "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nConnection: close\r\n\r\n";

QByteArray frame(const QByteArray& name, const QJsonObject& data)
{
    return "event: " + name + "\ndata: " + QJsonDocument(data).toJson(QJsonDocument::Compact) + "\n\n";
}

qint64 peakMemoryKiB(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').constFirst().toLongLong();
    }
    return -1;
}

} // namespace

// The command line against a hostile service, and against a configuration file that is not one.
class TestClientAbuse : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString configFor(const QString& url)
    {
        const QString path =
            m_dir.filePath(QStringLiteral("config-%1.json").arg(QTest::currentTestFunction()));
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(QJsonDocument(QJsonObject{{"serverURL", url}, {"token", "T"}}).toJson());
        return path;
    }

    // Runs tavrin to its end, reading its output as it comes.
    struct Run
    {
        int status = -1;
        QByteArray out;
        qint64 ms = 0;
    };
    Run tavrin(const QStringList& arguments, const QString& config, int deadlineMs = 60000)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("MORVIK_CONFIG_PATH", config);
        environment.insert("MORVIK_PASSWORD", "correct horse");
        process.setProcessEnvironment(environment);
        QElapsedTimer clock;
        clock.start();
        process.start(QStringLiteral(TAVRIN_EXE), arguments);
        Run run;
        if (!process.waitForFinished(deadlineMs))
            process.kill();
        process.waitForFinished();
        run.status = process.exitCode();
        run.out = process.readAllStandardOutput();
        run.ms = clock.elapsed();
        return run;
    }

private slots:
    void askStaysSmallAgainstAFastServer()
    {
        constexpr qint64 burst = 512LL * 1024 * 1024;
        HostileServer server([](int socket, HostileServer& self) {
            if (!self.send(socket, streamHead + frame("route", {{"route", "r"}, {"source", "s"}})))
                return;
            const QByteArray delta = frame("delta", {{"t", QString(4000, QLatin1Char('w'))}});
            while (self.sent() < burst && self.send(socket, delta)) {
            }
        });
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("MORVIK_CONFIG_PATH", configFor(server.url()));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(TAVRIN_EXE), {"--ask", "flood me"});
        QVERIFY(process.waitForStarted());
        // Nobody reads the output: the server must be held back instead of the client filling up.
        const QDeadlineTimer deadline(30000);
        qint64 last = -1;
        while (!deadline.hasExpired() && server.sent() != last && server.sent() < burst) {
            last = server.sent();
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
        }
        const qint64 peak = peakMemoryKiB(process.processId());
        qInfo("server sent %lld MiB, the client's peak memory is %lld MiB", server.sent() >> 20, peak >> 10);
        QVERIFY2(server.sent() < burst, "the client read everything without being held back");
        QVERIFY2(peak < 200 * 1024, QByteArray::number(peak >> 10) + " MiB");
        process.kill();
        process.waitForFinished();
    }

    void accountCallsEndOnTime_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<int>("drip");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("a byte every second")
            << QByteArray(
                   "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 100000\r\n\r\n")
            << 1 << QByteArray("took too long");
        QTest::newRow("announced 2 MiB")
            << QByteArray(
                   "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 2097152\r\n\r\n")
            << 0 << QByteArray("too large");
        QTest::newRow("2 MiB without a length")
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n\r\n")
            << 0 << QByteArray("too large");
    }
    void accountCallsEndOnTime()
    {
        QFETCH(QByteArray, head);
        QFETCH(int, drip);
        QFETCH(QByteArray, message);
        HostileServer server([&head, drip](int socket, HostileServer& self) {
            if (!self.send(socket, head + "{\"user\":"))
                return;
            for (int i = 0; i < 2 * 1024; ++i) {
                if (drip > 0) {
                    for (int tick = 0; tick < 10 * drip && !self.stopping(); ++tick)
                        std::this_thread::sleep_for(std::chrono::milliseconds(100));
                    if (!self.send(socket, " "))
                        return;
                } else if (!self.send(socket, QByteArray(1024, ' '))) {
                    return;
                }
            }
        });
        const Run run = tavrin({"--whoami"}, configFor(server.url()));
        QCOMPARE(run.status, 1);
        QVERIFY2(run.out.contains(message), run.out.constData());
        QVERIFY2(run.ms < 30000, QByteArray::number(run.ms));
    }

    void serverTextCannotDriveTheTerminal()
    {
        // A title, a clear screen, a carriage return and an 8-bit escape (U+009B) among plain text.
        const QString answer =
            QStringLiteral("safe \x1b]0;owned\x07title\x1b[2J\r") + QChar(0x9b) + "31m\ttab\n";
        HostileServer server([&answer](int socket, HostileServer& self) {
            self.send(socket,
                      streamHead + frame("delta", {{"t", answer}}) +
                          frame("link", {{"url", "javascript:alert(1)"}, {"message", "evil link"}}) +
                          frame("link", {{"url", "https://example.com/a"}, {"message", "good link"}}) +
                          frame("done", {{"ms", 1}, {"route", "r"}}));
        });
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
        const Run run = tavrin({"--whoami"}, path, 10000);
        QCOMPARE(run.status, 2);
        QCOMPARE(run.out, QByteArray("not signed in\n"));
    }

    void savingReplacesASymbolicLinkInsteadOfItsTarget()
    {
        ServiceProcess service(QStringList{"--account", "ana@example.com:correct horse"});
        QVERIFY(service.started());
        const QString target = m_dir.filePath("precious");
        QFile precious(target);
        QVERIFY(precious.open(QIODevice::WriteOnly) && precious.write("keep me") == 7);
        precious.close();
        const QString config = m_dir.filePath("linked-config.json");
        QVERIFY(QFile::link(target, config));
        const Run run = tavrin({"--signin", service.url(), "ana@example.com"}, config);
        QVERIFY2(run.status == 0, run.out.constData());
        QVERIFY(!QFileInfo(config).isSymLink());
        QVERIFY(precious.open(QIODevice::ReadOnly));
        QCOMPARE(precious.readAll(), QByteArray("keep me"));
        QCOMPARE(tavrin({"--whoami"}, config).out, QByteArray("account: ana@example.com\n"));
    }
};

QTEST_GUILESS_MAIN(TestClientAbuse)
#include "tst_clientabuse.moc"
