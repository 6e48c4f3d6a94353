#include "service/AgentClient.h"
#include "service/AskRequest.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

// What crosses the wire without a network: the request body and the mapping of failed responses.
class TestAskEncoding : public QObject
{
    Q_OBJECT

private slots:
    void requestLeavesOutAbsentFields()
    {
        AskRequest request;
        request.text = QStringLiteral("hi");
        const QJsonObject minimal = QJsonDocument::fromJson(request.encode()).object();
        QCOMPARE(minimal.keys(), (QStringList{"device", "text"}));
        QCOMPARE(minimal.value("device").toString(), QStringLiteral("mac"));
        QVERIFY(!request.encode().contains('\n'));

        request.text.clear();
        request.selection = QString();
        request.app = QStringLiteral("Mousepad");
        request.draft = QStringLiteral("d");
        request.adjust = QStringLiteral("shorter");
        const QJsonObject full = QJsonDocument::fromJson(request.encode()).object();
        QCOMPARE(full.keys(), (QStringList{"adjust", "app", "device", "draft", "selection", "text"}));
        QCOMPARE(full.value("selection").toString(QStringLiteral("absent")), QString());
        QCOMPARE(full.value("text").toString(QStringLiteral("absent")), QString());
    }

    void failureMessages_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("message");
        QTest::newRow("401 ignores the body") << 401 << QByteArray(R"({"error":"nope"})")
                                             << QStringLiteral("This Mac is signed out. Open Tavrin and sign in again.");
        QTest::newRow("402") << 402 << QByteArray()
                             << QStringLiteral("You've reached today's limit. It resets at midnight.");
        QTest::newRow("500 with error") << 500 << QByteArray(R"({"error":"model down"})") << QStringLiteral("model down");
        QTest::newRow("500 empty") << 500 << QByteArray() << QStringLiteral("Server returned HTTP 500");
        QTest::newRow("error not a string") << 503 << QByteArray(R"({"error":{"m":1}})")
                                            << QStringLiteral("Server returned HTTP 503");
        QTest::newRow("204") << 204 << QByteArray() << QStringLiteral("Server returned HTTP 204");
        QTest::newRow("HTML page") << 502 << QByteArray("<html>bad gateway</html>")
                                   << QStringLiteral("Server returned HTTP 502");
    }
    void failureMessages()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, message);
        const Error error = AgentClient::failure(status, body);
        QCOMPARE(error.domain, QStringLiteral("Agent"));
        QCOMPARE(error.code, status);
        QCOMPARE(error.message, message);
    }
};

QTEST_GUILESS_MAIN(TestAskEncoding)
#include "tst_askencoding.moc"
