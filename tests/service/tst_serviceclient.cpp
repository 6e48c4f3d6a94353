#include "ClosedPort.h"
#include "FloodServer.h"
#include "ScriptedServer.h"
#include "service/AgentClient.h"
#include "service/AuthClient.h"

#include <QNetworkReply>
#include <QTemporaryDir>
#include <QTest>

using namespace AskEvents;

namespace {

const QString token = QStringLiteral("tok-123");

QByteArray line(const QByteArray& name, const QByteArray& json)
{
    return "event: " + name + "\ndata: " + json + "\n";
}

QByteArray delta(const QByteArray& text)
{
    return line("delta", "{\"t\":\"" + text + "\"}");
}

AgentConfig configAt(const QUrl& server)
{
    return {server.toString(), token, std::nullopt};
}

AskRequest question(const QString& text)
{
    AskRequest request;
    request.text = text;
    return request;
}

ScriptedResponse json(const QByteArray& body, int status = 200)
{
    return ScriptedResponse(status).header("Content-Type", "application/json").part(body);
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

// Waits for the one callback of an account operation.
template <typename T> class Outcome
{
public:
    AuthClient::Callback<T> callback()
    {
        return [this](const Result<T>& result) { m_result.emplace(result); };
    }
    const Result<T>& wait()
    {
        if (!QTest::qWaitFor([this] { return m_result.has_value(); }, 10000))
            qFatal("the account operation never answered");
        return *m_result;
    }

private:
    std::optional<Result<T>> m_result;
};

} // namespace

Q_DECLARE_METATYPE(QList<AskEvent>)

// The ask and account clients against real HTTP exchanges with the scripted server.
class TestServiceClient : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_home;

private slots:
    void initTestCase()
    {
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(m_home.filePath(QStringLiteral("config.json"))));
    }

    void askStreamsWhileTheBodyIsOpen()
    {
        ScriptedServer server;
        server.enqueue(ScriptedResponse()
                           .part(line("route", "{\"route\":\"r\",\"source\":\"s\"}") + delta("Hel"))
                           .heldPart(delta("lo") + "event: done\ndata: {\"ms\":812,\"route\":\"r\"}"));
        Answer answer(AgentClient::ask(question("hi"), configAt(server.url(QStringLiteral("/api")))));
        QTRY_COMPARE(answer.events, (QList<AskEvent>{Route{"r", "s"}, Delta{"Hel"}}));
        QVERIFY(server.isHolding());
        QCOMPARE(answer.finishes, 0);
        const RecordedRequest& sent = server.requests().first();
        QCOMPARE(sent.path, "/api/v1/ask");
        QCOMPARE(sent.header("content-type"), "application/json");
        QCOMPARE(sent.header("AUTHORIZATION"), "Bearer " + token.toUtf8());
        QCOMPARE(sent.header("Accept"), "text/event-stream");
        // A compressed stream would arrive all at once at the end.
        QCOMPARE(sent.header("Accept-Encoding"), "identity");

        server.release();
        QTRY_VERIFY(answer.stream.isNull());
        QCOMPARE(answer.finishes, 1);
        QCOMPARE(answer.error, std::nullopt);
        // The last line has no line end: the end of the body still delivers it.
        QCOMPARE(answer.events,
                 (QList<AskEvent>{Route{"r", "s"}, Delta{"Hel"}, Delta{"lo"}, Done{812, "r"}}));
    }

    // Every text a failing service answer shows, for the ask and for the account calls.
    void failureTexts_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("askText");
        QTest::addColumn<QString>("accountText"); // empty: the account call succeeds
        const auto row = [](const char* name, int status, const QByteArray& body, const QString& askText,
                            const QString& accountText) {
            QTest::newRow(name) << status << body << askText << accountText;
        };
        row("401", 401, R"({"error":"token revoked"})",
            QStringLiteral("This Mac is signed out. Open Tavrin and sign in again."), "token revoked");
        row("402", 402, "", QStringLiteral("You've reached today's limit. It resets at midnight."),
            "Server returned HTTP 402");
        row("error text", 500, R"({"error":"model down"})", "model down", "model down");
        row("nested message, trimmed", 503, R"({"error":{"message":" model down "}})", "model down",
            "model down");
        row("invalid UTF-8 replaced", 500, "{\"error\":\"bad \xff\"}", QStringLiteral("bad \uFFFD"),
            QStringLiteral("bad \uFFFD"));
        row("empty body", 500, "", "Server returned HTTP 500", "Server returned HTTP 500");
        row("2xx", 204, "junk", "Server returned HTTP 204", "");
    }
    void failureTexts()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, askText);
        QFETCH(QString, accountText);
        QCOMPARE(AgentClient::failure(status, body), (Error{QStringLiteral("Agent"), status, askText}));
        const Result<void> account = AuthClient::check(status, body);
        if (accountText.isEmpty())
            QVERIFY(account.ok());
        else
            QCOMPARE(account.error(), (Error{AuthClient::failureDomain, status, accountText}));
    }

    void askErrorBodyIsReadOnlyToItsLimit()
    {
        // A valid JSON object, but only if it were read whole: the client stops at its limit.
        const QByteArray longBody = "{\"error\":\"" + QByteArray(8000, 'x') + "\"}";
        ScriptedServer server;
        server.enqueue(ScriptedResponse(500).part(longBody.first(4097)).heldPart(longBody.sliced(4097)));
        Answer answer(AgentClient::ask(question("hi"), configAt(server.url())));
        QTRY_COMPARE(answer.finishes, 1);
        QCOMPARE(answer.error,
                 (Error{QStringLiteral("Agent"), 500, QStringLiteral("Server returned HTTP 500")}));
        QVERIFY(answer.events.isEmpty());
    }

    void askWithoutAServerToReach_data()
    {
        QTest::addColumn<QString>("serverURL");
        QTest::newRow("refused") << QStringLiteral("http://127.0.0.1:%2");
        QTest::newRow("no scheme") << QStringLiteral("localhost:%1");
    }
    void askWithoutAServerToReach()
    {
        QFETCH(QString, serverURL);
        ScriptedServer server;
        const ClosedPort closed;
        QVERIFY(closed.port());
        const bool refused = serverURL.contains(QLatin1String("%2"));
        serverURL.replace(QLatin1String("%1"), QString::number(server.url().port()))
            .replace(QLatin1String("%2"), QString::number(closed.port()));
        Answer answer(AgentClient::ask(question("hi"), {serverURL, token, std::nullopt}));
        // The error comes later, so a caller that connects after asking still sees it.
        QCOMPARE(answer.finishes, 0);
        QTRY_COMPARE(answer.finishes, 1);
        QVERIFY(answer.error);
        QCOMPARE(answer.error->domain, QStringLiteral("Network"));
        if (refused)
            QCOMPARE(answer.error->code, int(QNetworkReply::ConnectionRefusedError));
        else
            QCOMPARE(
                answer.error->message,
                QStringLiteral("The server address is not a valid http or https URL: \"%1\"").arg(serverURL));
        QVERIFY(server.requests().isEmpty());
    }

    // A reader that is busy from the first byte on (a slow terminal, a loaded machine) must hold a fast
    // server back: the read buffer has to be in force before the answer starts, not once it is read.
    void busyReaderHoldsAFastServerBack()
    {
        constexpr qint64 flood = 256LL << 20;
        FloodServer server("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n",
                           delta(QByteArray(4000, 'w')), flood);
        QPointer<AskStream> stream = AgentClient::ask(question("flood"), configAt(server.url()));
        QTRY_VERIFY(server.hasRequest());
        // From here on this thread reads nothing while the server sends.
        server.release();
        server.waitUntilStalled(30000);
        // The kernel may buffer some 36 MiB of it between the two sockets here.
        QVERIFY2(server.sent() < flood / 4, QByteArray::number(server.sent() >> 20) + " MiB went out");
        QVERIFY(stream);
        stream->cancel();
    }

    void askNeverFollowsARedirectToAnotherOrigin()
    {
        ScriptedServer home;
        ScriptedServer elsewhere;
        home.enqueue(
            ScriptedResponse(307).header("Location", elsewhere.url(QStringLiteral("/v1/ask")).toEncoded()));
        Answer answer(AgentClient::ask(question("hi"), configAt(home.url())));
        QTRY_COMPARE(answer.finishes, 1);
        QCOMPARE(answer.error->message,
                 QStringLiteral("The server redirected to another address (%1); the request was not sent "
                                "there.")
                     .arg(elsewhere.url().toString()));
        QVERIFY(elsewhere.requests().isEmpty());
    }

    void accountAnswerWithoutItsUserIsAClearError()
    {
        ScriptedServer server;
        server.enqueue(json(R"({"token":"tok"})"));
        Outcome<AuthClient::Session> noUser;
        AuthClient::pair(server.url().toString(), QStringLiteral("123456"), this, noUser.callback());
        QCOMPARE(
            noUser.wait().error(),
            (Error{QStringLiteral("Decoding"), 0,
                   QStringLiteral("The service's answer could not be read: \"user\" is missing or is not "
                                  "an object.")}));
    }

    void signOutRevokesThisDeviceThenForgetsIt_data()
    {
        QTest::addColumn<QByteArray>("devices");
        QTest::addColumn<QByteArray>("deletePath");
        QTest::newRow("current device") << QByteArray(R"({"current":17})") << QByteArray("/v1/devices/17");
        QTest::newRow("server down") << QByteArray() << QByteArray();
    }
    void signOutRevokesThisDeviceThenForgetsIt()
    {
        QFETCH(QByteArray, devices);
        QFETCH(QByteArray, deletePath);
        ScriptedServer server;
        const ClosedPort closed;
        server.enqueue(json(devices));
        server.enqueue(json("{}"));
        const AgentConfig config =
            configAt(devices.isEmpty() ? QUrl(QStringLiteral("http://127.0.0.1:%1").arg(closed.port()))
                                       : server.url());
        QVERIFY(config.save().ok());
        bool done = false;
        AuthClient::signOut(config, this, [&done] { done = true; });
        QTRY_VERIFY(done);
        QVERIFY(!AgentConfig::load());
        QCOMPARE(server.requests().size(), devices.isEmpty() ? 0 : deletePath.isEmpty() ? 1 : 2);
        if (!deletePath.isEmpty()) {
            QCOMPARE(server.requests().at(1).method, "DELETE");
            QCOMPARE(server.requests().at(1).path, deletePath);
        }
    }
};

QTEST_GUILESS_MAIN(TestServiceClient)
#include "tst_serviceclient.moc"
