#include "ServiceProcess.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString ana = QStringLiteral("ana@example.com");

QJsonObject withDevice(QJsonObject body)
{
    body.insert("client", "app");
    body.insert("platform", "mac");
    body.insert("name", "abuse test");
    return body;
}

} // namespace

// Getting in without being invited, as a stranger on the network would try it.
class TestSignInAbuse : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    // A service with one account given through a file, as the README recommends, and a mailbox.
    QStringList accountOptions()
    {
        return {"--accounts", accountsFile(m_dir.path()), "--mailbox", m_dir.filePath("mailbox")};
    }

    QString lastMailedCode()
    {
        QFile file(m_dir.filePath("mailbox"));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QRegularExpression("code=(\\d{6})\\s*$").match(QString::fromUtf8(file.readAll())).captured(1);
    }

private slots:
    void theGoogleStandInIsNoOpenDoor()
    {
        ServiceProcess service(accountOptions());
        QVERIFY(service.started());
        QCOMPARE(Raw::exchange(service.port(), Raw::get("auth/config")).json().value("google"),
                 QJsonValue(false));
        for (const char* path :
             {"auth/google/start?client=app", "auth/google/consent?email=ana@example.com", "signin/google"})
            QCOMPARE(Raw::exchange(service.port(), Raw::get(path)).status, 404);
        QVERIFY(!Raw::exchange(service.port(), Raw::get("signin")).body.contains("/signin/google"));
        QCOMPARE(Raw::exchange(service.port(),
                               Raw::post("auth/social/complete", {{"ticket", "any"}, {"invite", "MRV-ABCD"}}))
                     .status,
                 404);
        QCOMPARE(
            Raw::exchange(service.port(), Raw::post("auth/pair", withDevice({{"code", "ABCD2345"}}))).status,
            400);
    }

    void unknownAddressesLookLikeKnownOnes()
    {
        ServiceProcess service(accountOptions());
        QVERIFY(service.started());
        const RawReply known =
            Raw::exchange(service.port(), Raw::post("auth/code", withDevice({{"email", ana}})));
        const RawReply unknown = Raw::exchange(
            service.port(), Raw::post("auth/code", withDevice({{"email", "nobody@example.com"}})));
        QCOMPARE(unknown.status, known.status);
        QCOMPARE(unknown.body, known.body);
    }

    void secretsStaySecret()
    {
        const QString mailbox = writeFile(m_dir.filePath("mailbox"), "",
                                          QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                              QFileDevice::ReadOther | QFileDevice::ReadGroup);
        const QString tokenFile = writeFile(m_dir.filePath("token"), "file-token\n", QFileDevice::ReadOwner);
        ServiceProcess service(accountOptions() + QStringList{"--token-file", tokenFile});
        QVERIFY(service.started());
        QCOMPARE(Raw::exchange(service.port(), Raw::post("auth/code", withDevice({{"email", ana}}))).status,
                 200);
        const QString code = lastMailedCode();
        QCOMPARE(code.size(), 6);
        QCOMPARE(QFile(mailbox).permissions() & (QFileDevice::ReadOther | QFileDevice::ReadGroup),
                 QFileDevice::Permissions());
        QCOMPARE(Raw::exchange(service.port(),
                               Raw::post("auth/login", withDevice({{"email", ana}, {"password", "guess"}})))
                     .status,
                 401);
        QCOMPARE(Raw::exchange(service.port(), Raw::get("v1/me%0a2026-01-01%20forged%20line")).status, 404);
        QCOMPARE(Raw::exchange(service.port(),
                               Raw::post("v1/ask", {{"text", "hi"}}, "Authorization: Bearer file-token\r\n"))
                     .status,
                 200);
        const QByteArray log = service.log();
        QVERIFY2(!log.contains("\n2026-01-01 forged"), log.constData());
        QVERIFY2(log.contains("\\x0a2026-01-01 forged"), log.constData());
        QVERIFY(!log.contains("file-token") && !log.contains("correct horse") && !log.contains("guess"));
        QVERIFY(!log.contains("warning: passwords"));
        QVERIFY2(!log.contains(code.toUtf8()), "an e-mailed code reached the log");
        QVERIFY(log.contains("mail to=ana@example.com purpose=login"));
    }
};

QTEST_GUILESS_MAIN(TestSignInAbuse)
#include "tst_signinabuse.moc"
