#include "RunningService.h"

#include <QFile>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>

namespace {

const QString ana = QStringLiteral("ana@example.com");
const QString anaPassword = QStringLiteral("correct horse");
const QString bo = QStringLiteral("bo@example.com");
const QString invite = QStringLiteral("MRV-ABCD-EFGH");

QJsonObject device(QJsonObject body)
{
    body.insert("client", "app");
    body.insert("platform", "mac");
    body.insert("name", "test box");
    return body;
}

QUrlQuery callbackQuery(const Exchange& exchange)
{
    return QUrlQuery(QUrl(QString::fromUtf8(exchange.location)).query());
}

} // namespace

class TestAccountRoutes : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_mailbox;
    FakeClock m_time;
    std::unique_ptr<RunningService> m_running;
    ServiceClient m_client;

    QString url(const QString& path) const { return m_running->url(path); }

    QString signIn(const QString& email = ana, const QString& password = anaPassword)
    {
        const Exchange exchange =
            m_client.post(url("auth/login"), device({{"email", email}, {"password", password}}));
        return exchange.json().value("token").toString();
    }

    QString lastMailedCode()
    {
        QFile file(m_mailbox);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const QList<QByteArray> lines = file.readAll().trimmed().split('\n');
        const auto match = QRegularExpression("code=(\\d{6})").match(QString::fromUtf8(lines.constLast()));
        return match.captured(1);
    }

    void start(bool openSignup)
    {
        m_running.reset();
        ServiceOptions options;
        options.seed.accounts = {{ana, anaPassword, "pro", "admin"}, {bo, "bo's password", {}, {}}};
        options.seed.invites = {invite};
        options.mailboxPath = m_mailbox;
        options.openSignup = openSignup;
        m_running = std::make_unique<RunningService>(options, m_time.clock());
    }

private slots:
    void init()
    {
        m_mailbox = m_dir.filePath(QStringLiteral("mailbox-%1").arg(QTest::currentTestFunction()));
        start(false);
    }
    void cleanup() { m_running.reset(); }

    void passwordSignInGivesASession()
    {
        const Exchange config = m_client.get(url("auth/config"));
        QCOMPARE(
            config.json(),
            (QJsonObject{{"google", true}, {"apple_web", false}, {"email", true}, {"invite_only", true}}));
        const Exchange login = m_client.post(
            url("auth/login"), device({{"email", " Ana@Example.com"}, {"password", anaPassword}}));
        QCOMPARE(login.status, 200);
        const QJsonObject user{{"email", ana}, {"plan", "pro"}, {"role", "admin"}};
        QCOMPARE(login.json().value("user").toObject(), user);
        const Exchange me = m_client.get(url("v1/me"), login.json().value("token").toString());
        QCOMPARE(me.status, 200);
        QCOMPARE(me.json(), (QJsonObject{{"user", user}}));
    }

    void wrongCredentialsAreRefused_data()
    {
        QTest::addColumn<QJsonObject>("body");
        QTest::newRow("wrong password") << QJsonObject{{"email", ana}, {"password", "Correct horse"}};
        QTest::newRow("another account's password")
            << QJsonObject{{"email", ana}, {"password", "bo's password"}};
        QTest::newRow("unknown address")
            << QJsonObject{{"email", "nobody@example.com"}, {"password", anaPassword}};
        QTest::newRow("no password") << QJsonObject{{"email", ana}};
    }
    void wrongCredentialsAreRefused()
    {
        QFETCH(QJsonObject, body);
        const Exchange login = m_client.post(url("auth/login"), device(body));
        QCOMPARE(login.status, 401);
        QVERIFY(!login.json().value("error").toString().isEmpty());
        QVERIFY(!login.json().contains("token"));
    }

    void mailedCodeSignsIn()
    {
        const Exchange sent = m_client.post(url("auth/code"), device({{"email", ana}}));
        QCOMPARE(sent.status, 200);
        QCOMPARE(sent.json().value("purpose").toString(), QStringLiteral("login"));
        const QString code = lastMailedCode();
        QCOMPARE(code.size(), 6);
        const QString wrong = code == "000000" ? "111111" : "000000";
        QCOMPARE(m_client.post(url("auth/code/verify"), device({{"email", ana}, {"code", wrong}})).status,
                 400);
        QCOMPARE(m_client.post(url("auth/code/verify"), device({{"email", bo}, {"code", code}})).status, 400);
        const Exchange verified =
            m_client.post(url("auth/code/verify"), device({{"email", ana}, {"code", code}}));
        QCOMPARE(verified.status, 200);
        QCOMPARE(verified.json().value("user").toObject().value("email").toString(), ana);
        QCOMPARE(m_client.post(url("auth/code/verify"), device({{"email", ana}, {"code", code}})).status,
                 400);
    }

    void guessingTheCodeVoidsIt()
    {
        QCOMPARE(m_client.post(url("auth/code"), device({{"email", ana}})).status, 200);
        const QString code = lastMailedCode();
        for (int guess = 0; guess < 5; ++guess) {
            const QString wrong =
                QString::number((code.toInt() + 1 + guess) % 1000000).rightJustified(6, '0');
            QCOMPARE(m_client.post(url("auth/code/verify"), device({{"email", ana}, {"code", wrong}})).status,
                     400);
        }
        QCOMPARE(m_client.post(url("auth/code/verify"), device({{"email", ana}, {"code", code}})).status,
                 400);
    }

    void newAddressesNeedAnInviteUnlessSignupIsOpen()
    {
        QCOMPARE(m_client.post(url("auth/code"), device({{"email", "new@example.com"}})).status, 403);
        start(true);
        QCOMPARE(m_client.get(url("auth/config")).json().value("invite_only").toBool(), false);
        const Exchange sent = m_client.post(url("auth/code"), device({{"email", "new@example.com"}}));
        QCOMPARE(sent.json().value("purpose").toString(), QStringLiteral("verify"));
        const Exchange created = m_client.post(
            url("auth/verify"), device({{"email", "new@example.com"}, {"code", lastMailedCode()}}));
        QCOMPARE(created.status, 200);
        QCOMPARE(m_client.get(url("v1/me"), created.json().value("token").toString()).status, 200);
    }

    void pairingCodesExpire()
    {
        const QString token = signIn();
        const Exchange pairing = m_client.postNothing(url("v1/pairing"), token);
        QCOMPARE(pairing.status, 200);
        const int lifetime = pairing.json().value("expires_in").toInt();
        QCOMPARE(lifetime, 300);
        QCOMPARE(pairing.json().value("code").toString().size(), 8);
        QVERIFY(
            pairing.json().value("deep_link").toString().contains(pairing.json().value("code").toString()));

        m_time.advance(std::chrono::seconds(lifetime));
        const QString expired = pairing.json().value("code").toString();
        QCOMPARE(m_client.post(url("auth/pair"), device({{"code", expired}})).status, 400);

        const QString fresh =
            m_client.post(url("v1/pairing"), QByteArray(), token).json().value("code").toString();
        m_time.advance(std::chrono::seconds(lifetime - 1));
        const Exchange paired =
            m_client.post(url("auth/pair"), device({{"code", " " + fresh.toLower() + "\n"}}));
        QCOMPARE(paired.status, 200);
        QCOMPARE(paired.json().value("user").toObject().value("email").toString(), ana);
        QCOMPARE(m_client.post(url("auth/pair"), device({{"code", fresh}})).status, 400);
    }

    void revokedDevicesAreSignedOut()
    {
        const QString first = signIn();
        const QString second = signIn();
        const QString other = signIn(bo, "bo's password");
        const Exchange listed = m_client.get(url("v1/devices"), second);
        const int secondId = listed.json().value("current").toInt();
        QCOMPARE(listed.json().value("devices").toArray().size(), 2);
        const int otherId = m_client.get(url("v1/devices"), other).json().value("current").toInt();

        QCOMPARE(m_client.remove(url(QStringLiteral("v1/devices/%1").arg(otherId)), first).status, 404);
        QCOMPARE(m_client.remove(url("v1/devices/999"), first).status, 404);
        QCOMPARE(m_client.remove(url(QStringLiteral("v1/devices/%1").arg(secondId)), first).status, 200);

        const Exchange refused = m_client.get(url("v1/me"), second);
        QCOMPARE(refused.status, 401);
        QCOMPARE(refused.json(), (QJsonObject{{"error", "unauthorized"}}));
        QCOMPARE(m_client.post(url("v1/ask"), QJsonObject{{"text", "hi"}}, second).status, 401);
        QCOMPARE(m_client.get(url("v1/me"), first).status, 200);
        QCOMPARE(m_client.get(url("v1/me"), other).status, 200);
    }

    void googleSignInOfAKnownAddressPairs()
    {
        QVERIFY(m_client.get(url("auth/google/start?client=app")).body.contains("<form"));
        const Exchange consent = m_client.get(url("auth/google/consent?email=BO@example.com"));
        QCOMPARE(consent.status, 302);
        QVERIFY(consent.location.startsWith("morvik:"));
        const QUrlQuery query = callbackQuery(consent);
        QCOMPARE(query.queryItemValue("status"), QStringLiteral("ok"));
        const Exchange paired =
            m_client.post(url("auth/pair"), device({{"code", query.queryItemValue("code")}}));
        QCOMPARE(paired.json().value("user").toObject().value("email").toString(), bo);
    }

    void googleSignInOfANewAddressTakesAnInvite()
    {
        const QUrlQuery first = callbackQuery(m_client.get(url("auth/google/consent?email=cy@example.com")));
        QCOMPARE(first.queryItemValue("need"), QStringLiteral("invite"));
        const QString ticket = first.queryItemValue("ticket");
        QVERIFY(!ticket.isEmpty());

        const auto complete = [&](const QString& withTicket, const QString& code) {
            return m_client.post(url("auth/social/complete"),
                                 device({{"ticket", withTicket}, {"invite", code}}));
        };
        QCOMPARE(complete(ticket, "MRV-WRONG").status, 403);
        QCOMPARE(complete("made-up-ticket", invite).status, 400);
        const Exchange created = complete(ticket, invite);
        QCOMPARE(created.status, 200);
        QCOMPARE(created.json().value("user").toObject().value("email").toString(),
                 QStringLiteral("cy@example.com"));
        QCOMPARE(complete(ticket, invite).status, 400);

        const QUrlQuery second =
            callbackQuery(m_client.get(url("auth/google/consent?email=dee@example.com")));
        QCOMPARE(complete(second.queryItemValue("ticket"), invite).status, 403);
        QCOMPARE(callbackQuery(m_client.get(url("auth/google/consent?cancel=1"))).hasQueryItem("error"),
                 true);
    }

    void sharedTokenModeServesNoAccounts()
    {
        ServiceOptions options;
        options.token = QStringLiteral("shared");
        RunningService tokenOnly(options);
        // The agent's pairing window takes a 404 whose message names it as the sign of a server without
        // accounts, and shows the shared-token link instead.
        const Exchange pairing = m_client.post(tokenOnly.url("v1/pairing"), QByteArray(), "shared");
        QCOMPARE(pairing.status, 404);
        QVERIFY(pairing.json().value("error").toString().contains("404"));
        QCOMPARE(m_client.post(tokenOnly.url("auth/login"), device({{"email", ana}})).status, 404);
    }
};

QTEST_GUILESS_MAIN(TestAccountRoutes)
#include "tst_accountroutes.moc"
