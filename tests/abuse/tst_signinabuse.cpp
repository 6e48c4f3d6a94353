#include "ServiceProcess.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

namespace {

const QString ana = QStringLiteral("ana@example.com");

QByteArray post(const QString& path, QJsonObject body)
{
    body.insert("client", "app");
    body.insert("platform", "mac");
    body.insert("name", "abuse test");
    return Raw::post(path, body);
}

} // namespace

// Getting in without being invited, as a stranger on the network would try it. One service answers all
// of it, so that its log holds every attempt.
class TestSignInAbuse : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<ServiceProcess> m_service;

    RawReply exchange(const QByteArray& request) { return Raw::exchange(m_service->port(), request); }

private slots:
    void initTestCase()
    {
        // A mailbox others could read, and the account and token given through files, as the README
        // recommends.
        QVERIFY(!writeFile(m_dir.filePath("mailbox"), "",
                           QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadOther |
                               QFileDevice::ReadGroup)
                     .isEmpty());
        const QString tokenFile = writeFile(m_dir.filePath("token"), "file-token\n", QFileDevice::ReadOwner);
        const QString accounts =
            writeFile(m_dir.filePath("accounts.json"),
                      R"({"accounts":[{"email":"ana@example.com","password":"correct horse"}]})",
                      QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        m_service = std::make_unique<ServiceProcess>(QStringList{
            "--accounts", accounts, "--mailbox", m_dir.filePath("mailbox"), "--token-file", tokenFile});
        QVERIFY(m_service->started());
    }

    void theGoogleStandInIsNoOpenDoor()
    {
        QCOMPARE(exchange(Raw::get("auth/config")).json().value("google"), QJsonValue(false));
        for (const char* path :
             {"auth/google/start?client=app", "auth/google/consent?email=ana@example.com", "signin/google"})
            QCOMPARE(exchange(Raw::get(path)).status, 404);
        QVERIFY(!exchange(Raw::get("signin")).body.contains("/signin/google"));
        QCOMPARE(
            exchange(Raw::post("auth/social/complete", {{"ticket", "any"}, {"invite", "MRV-ABCD"}})).status,
            404);
        QCOMPARE(exchange(post("auth/pair", {{"code", "ABCD2345"}})).status, 400);
    }

    void unknownAddressesLookLikeKnownOnes()
    {
        const RawReply known = exchange(post("auth/code", {{"email", ana}}));
        const RawReply unknown = exchange(post("auth/code", {{"email", "nobody@example.com"}}));
        QCOMPARE(known.status, 200);
        QCOMPARE(unknown.status, known.status);
        QCOMPARE(unknown.body, known.body);
    }

    void secretsStaySecret()
    {
        QCOMPARE(exchange(post("auth/code", {{"email", ana}})).status, 200);
        QFile mailbox(m_dir.filePath("mailbox"));
        QCOMPARE(mailbox.permissions() & (QFileDevice::ReadOther | QFileDevice::ReadGroup),
                 QFileDevice::Permissions());
        QVERIFY(mailbox.open(QIODevice::ReadOnly));
        const QString code =
            QRegularExpression("code=(\\d{6})\\s*$").match(QString::fromUtf8(mailbox.readAll())).captured(1);
        QCOMPARE(code.size(), 6);
        QCOMPARE(exchange(post("auth/login", {{"email", ana}, {"password", "guess"}})).status, 401);
        QCOMPARE(exchange(Raw::get("v1/me%0a2026-01-01%20forged%20line")).status, 404);
        QCOMPARE(
            exchange(Raw::post("v1/ask", {{"text", "hi"}}, "Authorization: Bearer file-token\r\n")).status,
            200);
        const QByteArray log = m_service->log();
        QVERIFY2(!log.contains("\n2026-01-01 forged"), log.constData());
        QVERIFY2(log.contains("\\x0a2026-01-01 forged"), log.constData());
        QVERIFY(!log.contains("file-token") && !log.contains("correct horse") && !log.contains("guess"));
        QVERIFY(!log.contains("warning: passwords"));
        QVERIFY2(!log.contains(code.toUtf8()), "an e-mailed code reached the log");
        QVERIFY(log.contains("mail to=ana@example.com purpose=login"));
    }

    void cleanupTestCase() { m_service.reset(); }
};

QTEST_GUILESS_MAIN(TestSignInAbuse)
#include "tst_signinabuse.moc"
