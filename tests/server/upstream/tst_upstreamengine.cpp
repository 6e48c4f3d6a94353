#include "ScriptedServer.h"
#include "upstream/Prompt.h"
#include "upstream/UpstreamEngine.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>
#include <atomic>
#include <thread>

namespace {

// Keeps each event as "name:value"; `refuseFrom` plays an agent that hangs up before that event.
class RecordingSink : public EventSink
{
public:
    explicit RecordingSink(qsizetype refuseFrom = -1) : m_refuseFrom(refuseFrom) {}

    bool send(const QString& event, const QJsonObject& data) override
    {
        if (m_refuseFrom >= 0 && events.size() >= m_refuseFrom)
            return false;
        if (event == QLatin1String("route"))
            events << "route:" + data["route"].toString() + "@" + data["source"].toString();
        else if (event == QLatin1String("delta"))
            events << "delta:" + data["t"].toString();
        else if (event == QLatin1String("done"))
            events << "done:" + data["route"].toString() +
                          (data["ms"].toInteger(-1) >= 0 ? "" : " without ms");
        else
            events << event + ":" + data["message"].toString();
        return true;
    }
    bool agentConnected() override { return connected; }

    QStringList events;
    std::atomic<bool> connected = true;

private:
    qsizetype m_refuseFrom;
};

AskInput ask(const QString& text)
{
    AskInput input;
    input.text = text;
    return input;
}

// One streamed piece of content, as such servers send it.
QByteArray content(const QString& text)
{
    const QJsonObject chunk{{"object", "chat.completion.chunk"},
                            {"choices", QJsonArray{QJsonObject{{"delta", QJsonObject{{"content", text}}}}}}};
    return "data: " + QJsonDocument(chunk).toJson(QJsonDocument::Compact) + "\n\n";
}

ScriptedResponse stream(const QList<QByteArray>& chunks)
{
    ScriptedResponse response;
    response.header("Content-Type", "text/event-stream");
    for (const QByteArray& chunk : chunks)
        response.part(chunk);
    return response;
}

const QByteArray done = "data: [DONE]\n\n";

// The engine blocks its caller, as it does on the service's threads: it runs on a thread of its own
// while this thread's event loop plays the model server.
class Answering
{
public:
    Answering(const QUrl& server, const AskInput& input, RecordingSink& sink)
        : m_thread([this, server, input, &sink] {
              UpstreamEngine({server.resolved(QUrl("/v1/chat/completions")), QStringLiteral("m"), {}})
                  .answer(input, sink);
              m_done = true;
          })
    {}
    ~Answering() { m_thread.join(); }
    bool finish()
    {
        return QTest::qWaitFor([this] { return m_done.load(); }, 10000);
    }

private:
    std::atomic<bool> m_done = false;
    std::thread m_thread;
};

QString nameOf(const ScriptedServer& server)
{
    return QStringLiteral("127.0.0.1:%1").arg(server.url().port());
}

} // namespace

Q_DECLARE_METATYPE(ScriptedResponse)

// The engine that answers through an OpenAI-compatible model server.
class TestUpstreamEngine : public QObject
{
    Q_OBJECT

private slots:
    void translatesTheUpstream_data()
    {
        QTest::addColumn<ScriptedResponse>("reply");
        QTest::addColumn<QStringList>("expected"); // after the route event; %1 is the server's name
        const QByteArray hello = content("Hel");
        const QByteArray grusse = content(QString::fromUtf8("Grüße"));
        const qsizetype umlaut = grusse.indexOf("\xC3\xBC") + 1;
        QTest::newRow("line and character split across chunks")
            << stream({grusse.first(umlaut), grusse.sliced(umlaut) + done})
            << QStringList{QString::fromUtf8("delta:Grüße"), "done:m"};
        QTest::newRow("CR LF, comments, a role-only chunk, finish reason without [DONE]")
            << stream(
                   {": keep-alive\r\n\r\ndata: {\"choices\":[{\"delta\":{\"role\":\"assistant\"}}]}\r\n\r\n",
                    QByteArray(hello).replace("\n", "\r\n"),
                    "data: {\"choices\":[{\"delta\":{},\"finish_reason\":\"stop\"}]}\r\n\r\n"})
            << QStringList{"delta:Hel", "done:m"};
        QTest::newRow("status with a JSON error")
            << ScriptedResponse(401)
                   .header("Content-Type", "application/json")
                   .part(R"({"error":{"message":"Invalid API key","type":"invalid_request_error"}})")
            << QStringList{"error:The model server at %1 answered HTTP 401: Invalid API key"};
        QTest::newRow("error inside the stream")
            << stream({hello, "data: {\"error\":{\"message\":\"out of memory\"}}\n\n", done})
            << QStringList{"delta:Hel", "error:The model server reported an error: out of memory"};
        QTest::newRow("malformed line")
            << stream({hello, "data: {\"choices\": [\n\n", done})
            << QStringList{"delta:Hel", "error:The model server sent something that "
                                        "is not part of an answer: {\"choices\": ["};
        QTest::newRow("broken connection")
            << stream({hello}).closeAbruptly()
            << QStringList{"delta:Hel", "error:The connection to the model server at %1 broke off."};
        QTest::newRow("ends unfinished")
            << stream({hello})
            << QStringList{"delta:Hel", "error:The model server at %1 stopped before "
                                        "the answer was complete."};
    }
    void translatesTheUpstream()
    {
        QFETCH(ScriptedResponse, reply);
        QFETCH(QStringList, expected);
        ScriptedServer upstream;
        upstream.enqueue(reply);
        RecordingSink sink;
        QVERIFY(Answering(upstream.url(), ask("hi"), sink).finish());
        expected.prepend("route:m@%1");
        for (QString& event : expected)
            event.replace("%1", nameOf(upstream));
        QCOMPARE(sink.events, expected);
    }

    void unreachableUpstreamIsAnError()
    {
        const QUrl closed = ScriptedServer().url();
        RecordingSink sink;
        QVERIFY(Answering(closed, ask("hi"), sink).finish());
        QCOMPARE(sink.events.size(), 2);
        QVERIFY2(sink.events.last().endsWith("cannot be reached. Is it running?"),
                 qPrintable(sink.events.last()));
    }

    // The model goes on with its answer, or falls silent, until the engine hangs up on it.
    void hangingUpCancelsTheUpstream_data()
    {
        QTest::addColumn<int>("refuseFrom");
        QTest::addColumn<bool>("silent");
        QTest::newRow("in the middle of the answer") << 3 << false;
        QTest::newRow("while the model is silent") << -1 << true;
    }
    void hangingUpCancelsTheUpstream()
    {
        QFETCH(int, refuseFrom);
        QFETCH(bool, silent);
        ScriptedServer upstream;
        upstream.enqueue(stream({content("Once"), content(" upon"), content(" a")}).heldPart({}));
        QSignalSpy hungUp(&upstream, &ScriptedServer::closedByClient);
        RecordingSink sink(refuseFrom);
        Answering answering(upstream.url(), ask("tell me a long story"), sink);
        if (silent) {
            QTRY_VERIFY(upstream.isHolding());
            sink.connected = false;
        }
        QVERIFY(answering.finish());
        QCOMPARE(upstream.requests().size(), 1);
        QTRY_COMPARE(hungUp.size(), 1);
        // Nothing follows the hang-up: no error and no end for an agent that has gone.
        if (silent)
            QVERIFY2(sink.events.constLast().startsWith("delta:"), qPrintable(sink.events.join('|')));
        else
            QCOMPARE(sink.events.size(), refuseFrom);
    }

    // A rework of a selection: the document around it, then the draft and the rework as further turns.
    // The key's header and the request itself go through the service end to end in tst_upstreamask.
    void sendsTheAskAsAStreamedChat()
    {
        AskInput input = ask("fix the tone");
        input.selection = "u r late";
        input.before = "Hi, ";
        input.after = " again.";
        input.draft = "You are late.";
        input.adjust = " friendlier ";
        ScriptedServer upstream;
        upstream.enqueue(stream({done}));
        RecordingSink sink;
        QVERIFY(Answering(upstream.url(), input, sink).finish());
        QCOMPARE(upstream.requests().size(), 1);
        const RecordedRequest& request = upstream.requests().constFirst();
        const QJsonObject body = QJsonDocument::fromJson(request.body).object();
        QCOMPARE(body["model"].toString(), QStringLiteral("m"));
        QCOMPARE(body["stream"].toBool(), true);
        const QJsonArray sent = body["messages"].toArray();
        QCOMPARE(sent.first()["role"].toString(), QStringLiteral("system"));
        QCOMPARE(sent.first()["content"].toString(), Prompt::instructions());
        QStringList rest;
        for (qsizetype i = 1; i < sent.size(); ++i)
            rest << sent[i]["role"].toString() + ": " + sent[i]["content"].toString();
        QCOMPARE(rest,
                 (QStringList{"user: <document>Hi, <selection>u r late</selection> again.</document>\n"
                              "<request>fix the tone</request>",
                              "assistant: You are late.", "user: Rework your previous answer: friendlier"}));
    }
};

QTEST_GUILESS_MAIN(TestUpstreamEngine)
#include "tst_upstreamengine.moc"
