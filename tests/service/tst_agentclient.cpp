#include "ClosedPort.h"
#include "FloodServer.h"
#include "ScriptedServer.h"
#include "service/AgentClient.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTest>

using namespace AskEvents;
using Framing = ScriptedResponse::Framing;

namespace {

QByteArray line(const QByteArray& name, const QByteArray& json)
{
    return "event: " + name + "\ndata: " + json + "\n";
}

QByteArray delta(const QByteArray& text)
{
    return line("delta", "{\"t\":\"" + text + "\"}");
}

AgentConfig configAt(const QString& serverURL)
{
    return {serverURL, QStringLiteral("tok-123"), std::nullopt};
}

AskRequest question(const QString& text)
{
    AskRequest request;
    request.text = text;
    request.app = QStringLiteral("Mousepad");
    request.selection = QString();
    return request;
}

// Everything one stream delivered, in order; `stream` turns null once the stream has deleted itself.
class Answer : public QObject
{
public:
    explicit Answer(AskStream* askStream) : stream(askStream)
    {
        connect(askStream, &AskStream::event, this, [this](const AskEvent& e) { events.append(e); });
        connect(askStream, &AskStream::finished, this, [this](const Result<void>& outcome) {
            ++finishes;
            if (!outcome.ok())
                error = outcome.error();
        });
    }

    QPointer<AskStream> stream;
    QList<AskEvent> events;
    int finishes = 0;
    std::optional<Error> error;
};

} // namespace

Q_DECLARE_METATYPE(QList<QByteArray>)
Q_DECLARE_METATYPE(QList<AskEvent>)
Q_DECLARE_METATYPE(Framing)

// The ask client against a real HTTP exchange with the scripted server.
class TestAgentClient : public QObject
{
    Q_OBJECT

private slots:
    void sendsTheRequest_data()
    {
        QTest::addColumn<QString>("basePath");
        QTest::addColumn<QByteArray>("path");
        QTest::newRow("root") << QString() << QByteArray("/v1/ask");
        QTest::newRow("base without slash") << QStringLiteral("/api") << QByteArray("/api/v1/ask");
        QTest::newRow("base with slash") << QStringLiteral("/api/") << QByteArray("/api/v1/ask");
    }
    void sendsTheRequest()
    {
        QFETCH(QString, basePath);
        QFETCH(QByteArray, path);
        ScriptedServer server;
        server.enqueue(ScriptedResponse().part(delta("ok")));
        const AskRequest request = question(QStringLiteral("fix \"this\" é"));
        Answer answer(AgentClient::ask(request, configAt(server.url(basePath).toString())));
        QTRY_COMPARE(answer.finishes, 1);
        QCOMPARE(answer.error, std::nullopt);

        QCOMPARE(server.requests().size(), 1);
        const RecordedRequest& sent = server.requests().first();
        QCOMPARE(sent.method, "POST");
        QCOMPARE(sent.path, path);
        QCOMPARE(sent.header("content-type"), "application/json");
        QCOMPARE(sent.header("AUTHORIZATION"), "Bearer tok-123");
        QCOMPARE(sent.header("Accept"), "text/event-stream");
        // A compressed stream would arrive all at once at the end.
        QVERIFY(!sent.hasHeader("Accept-Encoding") || sent.header("Accept-Encoding") == "identity");
        QCOMPARE(QJsonDocument::fromJson(sent.body).object(),
                 QJsonDocument::fromJson(request.encode()).object());
    }

    void eventsArriveWhileTheBodyIsStillOpen()
    {
        ScriptedServer server;
        server.enqueue(ScriptedResponse()
                           .part(line("route", "{\"route\":\"r\",\"source\":\"s\"}") + delta("Hel"))
                           .heldPart(delta("lo") + line("done", "{\"ms\":812,\"route\":\"r\"}")));
        Answer answer(AgentClient::ask(question("hi"), configAt(server.url().toString())));

        QTRY_COMPARE(answer.events.size(), 2);
        QVERIFY(server.isHolding());
        QCOMPARE(answer.events, (QList<AskEvent>{Route{"r", "s"}, Delta{"Hel"}}));
        QCOMPARE(answer.finishes, 0);

        server.release();
        QTRY_COMPARE(answer.finishes, 1);
        QCOMPARE(answer.error, std::nullopt);
        QCOMPARE(answer.events,
                 (QList<AskEvent>{Route{"r", "s"}, Delta{"Hel"}, Delta{"lo"}, Done{812, "r"}}));
        QTRY_VERIFY(answer.stream.isNull());
        QCOMPARE(answer.finishes, 1);
    }

    void bodySplitAnywhere_data()
    {
        QTest::addColumn<QList<QByteArray>>("parts");
        QTest::addColumn<Framing>("framing");
        QTest::addColumn<QList<AskEvent>>("expected");
        const QList<AskEvent> ab{Delta{"a"}, Delta{"b"}};
        const QList<QByteArray> crlfSplit{"event: delta\r", "\ndata: {\"t\":\"a\"}\r", "\n\r",
                                          "\ndata: {\"t\":\"b\"}\r\n"};
        QTest::newRow("CR LF split, chunked") << crlfSplit << Framing::Chunked << ab;
        QTest::newRow("CR LF split, content length") << crlfSplit << Framing::ContentLength << ab;
        const QList<QByteArray> unfinished{"event: delta\ndata: {\"t\":\"a\"}\n", "data: {\"t\":\"b\"}"};
        QTest::newRow("no last line end, chunked") << unfinished << Framing::Chunked << ab;
        QTest::newRow("no last line end, close-delimited") << unfinished << Framing::CloseDelimited << ab;
        QTest::newRow("UTF-8 character split")
            << QList<QByteArray>{"event: delta\ndata: {\"t\":\"\xc3", "\xa9\"}\n"} << Framing::Chunked
            << QList<AskEvent>{Delta{QStringLiteral("\u00e9")}};
    }
    void bodySplitAnywhere()
    {
        QFETCH(QList<QByteArray>, parts);
        QFETCH(Framing, framing);
        QFETCH(QList<AskEvent>, expected);
        ScriptedServer server;
        ScriptedResponse response;
        // The pauses make separate reads likely; the events must not depend on it.
        for (const QByteArray& part : parts)
            response.part(part, std::chrono::milliseconds(5));
        server.enqueue(response.framing(framing));
        Answer answer(AgentClient::ask(question("hi"), configAt(server.url().toString())));
        QTRY_COMPARE(answer.finishes, 1);
        QCOMPARE(answer.error, std::nullopt);
        QCOMPARE(answer.events, expected);
    }

    void unsuccessfulStatusEndsWithAnAgentError_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("message");
        QTest::newRow("401") << 401 << QByteArray("{\"error\":\"token revoked\"}")
                             << QStringLiteral("This Mac is signed out. Open Tavrin and sign in again.");
        QTest::newRow("402") << 402 << QByteArray()
                             << QStringLiteral("You've reached today's limit. It resets at midnight.");
        QTest::newRow("500 with error")
            << 500 << QByteArray("{\"error\":\"model down\"}") << QStringLiteral("model down");
        QTest::newRow("500 empty") << 500 << QByteArray() << QStringLiteral("Server returned HTTP 500");
        QTest::newRow("error not a string")
            << 503 << QByteArray("{\"error\":{\"m\":1}}") << QStringLiteral("Server returned HTTP 503");
        QTest::newRow("HTML page") << 502 << QByteArray("<html>bad gateway</html>")
                                   << QStringLiteral("Server returned HTTP 502");
        QTest::newRow("204") << 204 << QByteArray() << QStringLiteral("Server returned HTTP 204");
        QTest::newRow("201 with events") << 201 << delta("x") << QStringLiteral("Server returned HTTP 201");
    }
    void unsuccessfulStatusEndsWithAnAgentError()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, message);
        ScriptedServer server;
        server.enqueue(ScriptedResponse(status).part(body).framing(Framing::ContentLength));
        Answer answer(AgentClient::ask(question("hi"), configAt(server.url().toString())));
        QTRY_COMPARE(answer.finishes, 1);
        QCOMPARE(answer.error, (Error{QStringLiteral("Agent"), status, message}));
        QVERIFY(answer.events.isEmpty());
    }

    void longFailingBodyIsReadOnlyToTheLimit()
    {
        // A valid JSON object, but only if it were read whole.
        const QByteArray body = "{\"error\":\"" + QByteArray(8000, 'x') + "\"}";
        ScriptedServer server;
        server.enqueue(ScriptedResponse(500).part(body.first(4097)).heldPart(body.sliced(4097)));
        Answer answer(AgentClient::ask(question("hi"), configAt(server.url().toString())));
        // The rest is never released, so the stream can only end on what came first.
        QTRY_COMPARE(answer.finishes, 1);
        QCOMPARE(answer.error,
                 (Error{QStringLiteral("Agent"), 500, QStringLiteral("Server returned HTTP 500")}));
    }

    void abruptCloseIsATransportError_data()
    {
        QTest::addColumn<Framing>("framing");
        QTest::newRow("chunked") << Framing::Chunked;
        QTest::newRow("content length") << Framing::ContentLength;
    }
    void abruptCloseIsATransportError()
    {
        QFETCH(Framing, framing);
        ScriptedServer server;
        server.enqueue(ScriptedResponse().part(delta("a")).framing(framing).closeAbruptly());
        Answer answer(AgentClient::ask(question("hi"), configAt(server.url().toString())));
        QTRY_COMPARE(answer.finishes, 1);
        QVERIFY(answer.error);
        QCOMPARE(answer.error->domain, QStringLiteral("Network"));
        QVERIFY(!answer.error->message.isEmpty());
        QCOMPARE(answer.events, (QList<AskEvent>{Delta{"a"}}));
    }

    void refusedConnectionIsATransportError()
    {
        const ClosedPort closed;
        QVERIFY(closed.port());
        Answer answer(AgentClient::ask(question("hi"),
                                       configAt(QStringLiteral("http://127.0.0.1:%1").arg(closed.port()))));
        QTRY_COMPARE(answer.finishes, 1);
        QVERIFY(answer.error);
        QCOMPARE(answer.error->domain, QStringLiteral("Network"));
        QCOMPARE(answer.error->code, int(QNetworkReply::ConnectionRefusedError));
    }

    void unusableServerURLSendsNothing_data()
    {
        QTest::addColumn<QString>("serverURL");
        QTest::newRow("empty") << QString();
        QTest::newRow("words") << QStringLiteral("not a url");
        QTest::newRow("no scheme") << QStringLiteral("localhost:%1");
        QTest::newRow("no host") << QStringLiteral("http:///v1");
        QTest::newRow("other scheme") << QStringLiteral("ftp://127.0.0.1:%1/");
    }
    void unusableServerURLSendsNothing()
    {
        QFETCH(QString, serverURL);
        ScriptedServer server;
        if (serverURL.contains(QLatin1String("%1")))
            serverURL = serverURL.arg(server.port());
        Answer answer(AgentClient::ask(question("hi"), configAt(serverURL)));
        // The error comes later, so a caller that connects after asking still sees it.
        QCOMPARE(answer.finishes, 0);
        QTRY_COMPARE(answer.finishes, 1);
        QVERIFY(answer.error);
        QVERIFY(!answer.error->message.isEmpty());
        QVERIFY(server.requests().isEmpty());
    }

    void cancelStopsEverything()
    {
        ScriptedServer server;
        server.enqueue(ScriptedResponse().part(delta("a") + delta("b")).heldPart(delta("c")));
        QSignalSpy closed(&server, &ScriptedServer::closedByClient);
        AskStream* stream = AgentClient::ask(question("hi"), configAt(server.url().toString()));
        Answer answer(stream);
        connect(stream, &AskStream::event, stream, [stream] { stream->cancel(); });

        QTRY_COMPARE(closed.size(), 1);
        QTRY_VERIFY(answer.stream.isNull());
        QCOMPARE(answer.events, (QList<AskEvent>{Delta{"a"}}));
        QCOMPARE(answer.finishes, 0);
    }

    // A reader that is busy from the first byte on (a slow terminal, a loaded machine) must hold a fast
    // server back: the read buffer has to be in force before the answer starts, not once it is read.
    void busyReaderHoldsAFastServerBack()
    {
        constexpr qint64 flood = 256LL << 20;
        FloodServer server("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n",
                           delta(QByteArray(4000, 'w')), flood);
        QPointer<AskStream> stream = AgentClient::ask(question("flood"), configAt(server.url().toString()));
        QTRY_VERIFY(server.hasRequest());
        // From here on this thread reads nothing while the server sends.
        server.release();
        server.waitUntilStalled(30000);
        // The kernel may buffer some 36 MiB of it between the two sockets here.
        QVERIFY2(server.sent() < flood / 4, QByteArray::number(server.sent() >> 20) + " MiB went out");
        QVERIFY(stream);
        stream->cancel();
    }

    void redirects_data()
    {
        QTest::addColumn<bool>("otherOrigin");
        QTest::addColumn<bool>("relative");
        QTest::newRow("same origin, absolute") << false << false;
        QTest::newRow("same origin, relative") << false << true;
        QTest::newRow("other port") << true << false;
    }
    void redirects()
    {
        QFETCH(bool, otherOrigin);
        QFETCH(bool, relative);
        ScriptedServer home;
        ScriptedServer elsewhere;
        const QString movedPath = QStringLiteral("/moved/v1/ask");
        const QUrl target = relative ? QUrl(movedPath) : (otherOrigin ? elsewhere : home).url(movedPath);
        home.enqueue(ScriptedResponse::redirect(target));
        (otherOrigin ? elsewhere : home).enqueue(ScriptedResponse().part(delta("moved")));

        const AskRequest request = question("hi");
        Answer answer(AgentClient::ask(request, configAt(home.url().toString())));
        QTRY_COMPARE(answer.finishes, 1);

        if (otherOrigin) {
            QVERIFY(answer.error);
            QCOMPARE(answer.error->domain, QStringLiteral("Network"));
            QVERIFY(answer.events.isEmpty());
            QCOMPARE(home.requests().size(), 1);
            for (const RecordedRequest& leaked : elsewhere.requests())
                QVERIFY(!leaked.hasHeader("Authorization"));
            QVERIFY(elsewhere.requests().isEmpty());
            return;
        }
        QCOMPARE(answer.error, std::nullopt);
        QCOMPARE(answer.events, (QList<AskEvent>{Delta{"moved"}}));
        QCOMPARE(home.requests().size(), 2);
        const RecordedRequest& followed = home.requests().at(1);
        QCOMPARE(followed.method, "POST");
        QCOMPARE(followed.path, movedPath.toUtf8());
        QCOMPARE(followed.header("Authorization"), "Bearer tok-123");
        QCOMPARE(followed.body, request.encode());
    }
};

QTEST_GUILESS_MAIN(TestAgentClient)
#include "tst_agentclient.moc"
