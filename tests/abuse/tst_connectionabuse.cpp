#include "ServiceProcess.h"

#include <QHostAddress>
#include <QTcpSocket>
#include <QTest>
#include <algorithm>
#include <memory>
#include <vector>

namespace {

constexpr qsizetype mebibyte = 1024 * 1024;

QByteArray askHead(const QByteArray& framing)
{
    return "POST /v1/ask HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer T\r\nContent-Type: "
           "application/json\r\n" +
           framing + "Connection: close\r\n\r\n";
}

QByteArray chunked(qsizetype total)
{
    const QByteArray chunk(64 * 1024, 'x');
    QByteArray body;
    for (qsizetype sent = 0; sent < total; sent += chunk.size())
        body += QByteArray::number(chunk.size(), 16) + "\r\n" + chunk + "\r\n";
    return body + "0\r\n\r\n";
}

// A connection that says nothing, from the given loopback address.
std::unique_ptr<QTcpSocket> idleConnection(quint16 port, const QString& from)
{
    auto socket = std::make_unique<QTcpSocket>();
    socket->bind(QHostAddress(from));
    socket->connectToHost(QHostAddress::LocalHost, port);
    return socket->waitForConnected(5000) ? std::move(socket) : nullptr;
}

} // namespace

// Knocking the service over with bodies, heads and connections, as a stranger would try it.
class TestConnectionAbuse : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<ServiceProcess> m_service;

private slots:
    void initTestCase()
    {
        m_service = std::make_unique<ServiceProcess>(
            QStringList{"--word-delay", "0", "--max-connections-per-client", "40", "--max-body-memory", "8"},
            QList<std::pair<QString, QString>>{{"TAVRIN_SERVICE_TOKEN", "T"}});
        QVERIFY(m_service->started());
    }

    void badBodiesAreRefusedWithBoundedMemory_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("status");
        const QByteArray json = R"({"text":"hi"})";
        // 400 MiB of zeros inflate from a few hundred KiB; the service must never inflate them.
        QTest::newRow("gzip body") << askHead("Content-Encoding: gzip\r\nContent-Length: 409600\r\n") +
                                          QByteArray(409600, '\0')
                                   << 415;
        QTest::newRow("50 MiB in chunks")
            << askHead("Transfer-Encoding: chunked\r\n") + chunked(50 * mebibyte) << 413;
        QTest::newRow("50 MiB without a length")
            << askHead({}) + QByteArray(50 * mebibyte, ' ') + json << 413;
        QTest::newRow("announced 50 MiB")
            << askHead("Content-Length: 52428800\r\n") + QByteArray(50 * mebibyte, ' ') << 413;
        QByteArray manyHeaders;
        for (int i = 0; i < 20000; ++i)
            manyHeaders += "X-Filler-" + QByteArray::number(i) + ": " + QByteArray(80, 'h') + "\r\n";
        QTest::newRow("20,000 headers") << askHead(manyHeaders) << 431;
        QTest::newRow("a 38 MiB header")
            << askHead("X-Big: " + QByteArray(38 * mebibyte, 'h') + "\r\n") << 431;
        QTest::newRow("the body within the limit")
            << askHead("Content-Length: " + QByteArray::number(json.size()) + "\r\n") + json << 200;
    }
    void badBodiesAreRefusedWithBoundedMemory()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        QCOMPARE(Raw::exchange(m_service->port(), request, 30000).status, status);
        const qint64 peak = m_service->peakMemoryKiB();
        qInfo("peak resident memory of the service so far: %lld MiB", peak / 1024);
        QVERIFY2(peak < 200 * 1024, QByteArray::number(peak / 1024) + " MiB");
    }

    void bodiesTogetherStayWithinTheirBudget()
    {
        const quint16 port = m_service->port();
        const QByteArray json = R"({"text":"hi"})";
        const QByteArray largest = askHead("Content-Length: 4000000\r\n").replace("Bearer T", "Bearer X") +
                                   QByteArray(4000000 - json.size(), ' ') + json;
        // Three bodies on their way at once, 3.5 MB each, where 8 MiB is all bodies may take: whichever
        // crosses the line is turned away (two may cross at the same moment).
        std::vector<std::unique_ptr<QTcpSocket>> slow;
        for (const char* from : {"127.0.4.1", "127.0.4.2", "127.0.4.3"}) {
            slow.push_back(idleConnection(port, QString::fromLatin1(from)));
            QVERIFY(slow.back());
            slow.back()->write(largest.first(largest.size() - 500000));
        }
        const auto refused = [&slow] {
            return std::count_if(slow.begin(), slow.end(), [](const std::unique_ptr<QTcpSocket>& socket) {
                return socket->peek(12) == "HTTP/1.1 503";
            });
        };
        QTRY_VERIFY_WITH_TIMEOUT(refused() >= 1, 20000);
        QCOMPARE(
            Raw::exchange(port, Raw::post("v1/ask", {{"text", "hi"}}, "Authorization: Bearer T\r\n"), 5000)
                .status,
            200);
        // Once they are gone, a large body is read whole again (and then refused for its wrong token).
        slow.clear();
        QTRY_COMPARE_WITH_TIMEOUT(Raw::exchange(port, largest, 30000).status, 401, 20000);
    }

    void idleConnectionsLeaveRoomForOthers()
    {
        const quint16 port = m_service->port();
        std::vector<std::unique_ptr<QTcpSocket>> idle;
        for (int i = 0; i < 300; ++i) {
            // Spread over loopback addresses, as many machines would be.
            if (auto socket = idleConnection(port, QStringLiteral("127.0.1.%1").arg(1 + i / 30)))
                idle.push_back(std::move(socket));
        }
        QCOMPARE(idle.size(), size_t(300));
        const RawReply config = Raw::exchange(port, Raw::get("auth/config"), 5000);
        QCOMPARE(config.status, 404); // no accounts here: answered, and quickly enough to count
        const RawReply ask = Raw::exchange(
            port, Raw::post("v1/ask", {{"text", "still there?"}}, "Authorization: Bearer T\r\n"), 5000);
        QCOMPARE(ask.status, 200);
        QVERIFY(ask.body.contains("event: done"));
    }

    void oneAddressCannotTakeEveryConnection()
    {
        const quint16 port = m_service->port();
        std::vector<std::unique_ptr<QTcpSocket>> held;
        for (int i = 0; i < 40; ++i) {
            if (auto socket = idleConnection(port, QStringLiteral("127.0.2.1")))
                held.push_back(std::move(socket));
        }
        QCOMPARE(held.size(), size_t(40));
        auto extra = idleConnection(port, QStringLiteral("127.0.2.1"));
        QVERIFY(extra);
        QVERIFY(extra->waitForReadyRead(5000));
        QVERIFY(extra->readAll().startsWith("HTTP/1.1 503"));
        QCOMPARE(Raw::exchange(port, Raw::get("auth/config"), 5000).status, 404);
    }

    void silentConnectionsAreClosed()
    {
        auto socket = idleConnection(m_service->port(), QStringLiteral("127.0.3.1"));
        QVERIFY(socket);
        QTRY_COMPARE_WITH_TIMEOUT(socket->state(), QAbstractSocket::UnconnectedState, 10000);
    }

    void cleanupTestCase()
    {
        qInfo("peak resident memory of the service: %lld MiB", m_service->peakMemoryKiB() / 1024);
        m_service.reset();
    }
};

QTEST_GUILESS_MAIN(TestConnectionAbuse)
#include "tst_connectionabuse.moc"
