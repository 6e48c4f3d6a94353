#include "AskRoute.h"
#include "OfflineEngine.h"
#include "RunningService.h"
#include "protocol/EventLineParser.h"

#include <QNetworkReply>
#include <QSignalSpy>
#include <QTest>

namespace {

const QString sharedToken = QStringLiteral("s3cret-token");

ServiceOptions options(std::chrono::milliseconds wordDelay)
{
    ServiceOptions options;
    options.token = sharedToken;
    options.wordDelay = wordDelay;
    return options;
}

QNetworkRequest askRequest(RunningService& running)
{
    QNetworkRequest request = ServiceClient::request(running.url(QStringLiteral("v1/ask")), sharedToken);
    request.setRawHeader("Accept", "text/event-stream");
    // A compressed stream would arrive all at once at the end: the service must never compress it.
    request.setRawHeader("Accept-Encoding", "gzip, deflate, br");
    return request;
}

} // namespace

// The ask route and the offline engine that answers behind it.
class TestAskRoute : public QObject
{
    Q_OBJECT

private slots:
    void streamsRouteThenDeltasThenDone()
    {
        const QJsonObject body{{"text", "¿Qué tal? 日本語で"},
                               {"selection", "twelve chars"},
                               {"app", "Mousepad"},
                               {"device", "mac"}};
        RunningService running(options(std::chrono::milliseconds(5)));
        QNetworkAccessManager network;
        QNetworkReply* reply =
            network.post(askRequest(running), QJsonDocument(body).toJson(QJsonDocument::Compact));
        EventLineParser parser;
        QList<AskEvent> events;
        bool eventsBeforeEnd = false;
        connect(reply, &QNetworkReply::readyRead, this, [&] {
            parser.feed(reply->readAll(), events);
            eventsBeforeEnd = eventsBeforeEnd || (!events.isEmpty() && !reply->isFinished());
        });
        QSignalSpy finished(reply, &QNetworkReply::finished);
        QVERIFY(finished.wait(10000));
        parser.feed(reply->readAll(), events);
        parser.finish(events);

        QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 200);
        QVERIFY(reply->header(QNetworkRequest::ContentTypeHeader).toString().startsWith("text/event-stream"));
        QCOMPARE(reply->rawHeader("Content-Encoding"), QByteArray());
        QVERIFY2(eventsBeforeEnd, "the answer arrived only at the end, not as a stream");
        QCOMPARE(events.constFirst(), AskEvent(AskEvents::Route{"offline", "reference service"}));
        const auto* done = std::get_if<AskEvents::Done>(&events.constLast());
        QVERIFY(done);
        QCOMPARE(done->route, QStringLiteral("offline"));
        QString answer;
        for (qsizetype i = 1; i + 1 < events.size(); ++i) {
            const auto* delta = std::get_if<AskEvents::Delta>(&events.at(i));
            QVERIFY2(delta, "only deltas between route and done");
            QVERIFY(!delta->text.trimmed().contains(QLatin1Char(' ')));
            answer += delta->text;
        }
        QString problem;
        const std::optional<AskInput> input = AskRoute::readInput(body, problem);
        QVERIFY(input);
        QCOMPARE(answer, OfflineEngine::compose(*input));
        QVERIFY2(answer.contains("12 characters in Mousepad"), qPrintable(answer));
        reply->deleteLater();
    }

    void refusesWithJsonErrors_data()
    {
        QTest::addColumn<QByteArray>("authorization");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        const QByteArray good = R"({"text":"hi","device":"mac"})";
        const QByteArray bearer = "Bearer " + sharedToken.toUtf8();
        QTest::newRow("no token") << QByteArray() << good << 401;
        QTest::newRow("wrong token") << QByteArray("Bearer s3cret-tokem") << good << 401;
        QTest::newRow("token as a prefix") << QByteArray("Bearer s3cret") << good << 401;
        QTest::newRow("another scheme") << QByteArray("Basic " + sharedToken.toUtf8()) << good << 401;
        QTest::newRow("wrong token, broken body") << QByteArray("Bearer nope") << QByteArray("{") << 401;
        QTest::newRow("broken JSON") << bearer << QByteArray(R"({"text":)") << 400;
        QTest::newRow("text missing") << bearer << QByteArray(R"({"device":"mac"})") << 400;
    }
    void refusesWithJsonErrors()
    {
        QFETCH(QByteArray, authorization);
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        RunningService running(options(std::chrono::milliseconds(0)));
        QNetworkRequest request = ServiceClient::request(running.url(QStringLiteral("v1/ask")), {});
        if (!authorization.isEmpty())
            request.setRawHeader("Authorization", authorization);
        const Exchange refused = ServiceClient().post(request, body);
        QCOMPARE(refused.status, status);
        QCOMPARE(refused.contentType, QByteArray("application/json"));
        const QJsonValue error = refused.json().value("error");
        QVERIFY(error.isString() && !error.toString().isEmpty());
        if (status == 401)
            QCOMPARE(error.toString(), QStringLiteral("unauthorized"));
    }

    void agentHangingUpStopsTheEngine()
    {
        // Slow enough that the whole answer would take many seconds: only a stop explains a quick end.
        RunningService running(options(std::chrono::milliseconds(300)));
        QNetworkAccessManager network;
        QNetworkReply* reply = network.post(askRequest(running), R"({"text":"tell me a long story"})");
        EventLineParser parser;
        QList<AskEvent> events;
        connect(reply, &QNetworkReply::readyRead, this, [&] {
            parser.feed(reply->readAll(), events);
            if (events.size() >= 2)
                reply->abort();
        });
        QTRY_VERIFY(reply->isFinished());
        QTRY_COMPARE(running.service().asks().hungUp(), 1);
        QCOMPARE(running.service().asks().active(), 0);
        QVERIFY(!std::holds_alternative<AskEvents::Done>(events.constLast()));
        reply->deleteLater();
    }
};

QTEST_GUILESS_MAIN(TestAskRoute)
#include "tst_askroute.moc"
