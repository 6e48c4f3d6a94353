#include "RunningService.h"

#include <QFile>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString ana = QStringLiteral("ana@example.com");
const QString anaPassword = QStringLiteral("correct horse");
const QString bo = QStringLiteral("bo@example.com");
const QString boPassword = QStringLiteral("bo's password");

QString emailOf(const Exchange& exchange)
{
    return exchange.json().value("user")["email"].toString();
}

} // namespace

// The accounts: sign-in, mailed codes, pairing, devices, limits and the state file.
class TestAccountRoutes : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    FakeClock m_time;
    std::unique_ptr<RunningService> m_running;
    ServiceClient m_client;

    QString mailbox() const
    {
        return m_dir.filePath(QStringLiteral("mailbox-%1").arg(QTest::currentTestFunction()));
    }

    ServiceOptions options() const
    {
        ServiceOptions base;
        base.token = QStringLiteral("shared");
        base.wordDelay = std::chrono::milliseconds(0);
        base.seed.accounts = {{ana, anaPassword, "pro", "admin"}, {bo, boPassword, {}, {}}};
        base.mailboxPath = mailbox();
        return base;
    }

    void start(const ServiceOptions& options)
    {
        m_running.reset();
        m_running = std::make_unique<RunningService>(options, m_time.clock());
    }

    // The first request of a test starts the usual service unless the test started its own.
    QString url(const QString& path)
    {
        if (!m_running)
            start(options());
        return m_running->url(path);
    }
    Exchange get(const QString& path, const QString& token = {}) { return m_client.get(url(path), token); }

    // Every body carries the device that asks, as the agent sends it.
    Exchange post(const QString& path, QJsonObject body, const QString& token = {})
    {
        body.insert("client", "app");
        body.insert("platform", "mac");
        body.insert("name", "test box");
        return m_client.post(url(path), body, token);
    }

    QString signIn(const QString& email = ana, const QString& password = anaPassword)
    {
        return post("auth/login", {{"email", email}, {"password", password}}).json()["token"].toString();
    }

    Exchange verify(const QString& email, const QString& code)
    {
        return post("auth/code/verify", {{"email", email}, {"code", code}});
    }

    QString lastMailedCode()
    {
        QFile file(mailbox());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const QString last = QString::fromUtf8(file.readAll().trimmed().split('\n').constLast());
        return QRegularExpression("code=(\\d{6})").match(last).captured(1);
    }

    int revoke(int device, const QString& token)
    {
        return m_client.remove(url(QStringLiteral("v1/devices/%1").arg(device)), token).status;
    }

private slots:
    void cleanup() { m_running.reset(); }

    void wrongCredentialsTellNothingAboutTheAccount()
    {
        const Exchange wrongPassword = post("auth/login", {{"email", ana}, {"password", "Correct horse"}});
        QCOMPARE(wrongPassword.status, 401);
        QVERIFY(!wrongPassword.json().contains("token"));
        for (const QJsonObject& body :
             {QJsonObject{{"email", "nobody@example.com"}, {"password", anaPassword}},
              QJsonObject{{"email", ana}}}) {
            const Exchange refused = post("auth/login", body);
            QCOMPARE(refused.status, 401);
            QCOMPARE(refused.body, wrongPassword.body);
        }
    }

    void mailedCodeSignsInOnce()
    {
        QCOMPARE(post("auth/code", {{"email", ana}}).status, 200);
        const QString replaced = lastMailedCode();
        const Exchange sent = post("auth/code", {{"email", ana}});
        QCOMPARE(sent.status, 200);
        QCOMPARE(sent.json()["purpose"].toString(), QStringLiteral("login"));
        const QString code = lastMailedCode();
        QCOMPARE(code.size(), 6);
        if (replaced != code)
            QCOMPARE(verify(ana, replaced).status, 400);
        QCOMPARE(verify(ana, code == "000000" ? "111111" : "000000").status, 400);
        QCOMPARE(verify(bo, code).status, 400);
        const Exchange verified = verify(ana, code);
        QCOMPARE(verified.status, 200);
        QCOMPARE(emailOf(verified), ana);
        QCOMPARE(verify(ana, code).status, 400);
    }

    void codesAreSentAFewTimesAnHour()
    {
        for (int sent = 0; sent < 3; ++sent)
            QCOMPARE(post("auth/code", {{"email", ana}}).status, 200);
        const Exchange refused = post("auth/code", {{"email", ana}});
        QCOMPARE(refused.status, 429);
        QVERIFY(refused.json()["error"].toString().contains("try again in"));
        QCOMPARE(post("auth/code", {{"email", bo}}).status, 200);
        m_time.advance(std::chrono::minutes(2));
        QCOMPARE(post("auth/code", {{"email", ana}}).status, 200);
    }

    void wrongGuessesAreLimitedAndANewCodeGivesNoneBack()
    {
        QCOMPARE(post("auth/code", {{"email", ana}}).status, 200);
        const QString code = lastMailedCode();
        const QString wrong = code == "000000" ? "111111" : "000000";
        for (int guess = 0; guess < 5; ++guess)
            QCOMPARE(verify(ana, wrong).status, 400);
        QCOMPARE(post("auth/code", {{"email", ana}}).status, 200);
        QCOMPARE(verify(ana, lastMailedCode()).status, 429);
        // Not for long: the owner gets a try back within minutes, and the code still works.
        m_time.advance(std::chrono::minutes(5));
        QCOMPARE(verify(ana, lastMailedCode()).status, 200);
    }

    void loginsWaitLongerAfterEachFailure()
    {
        const QJsonObject wrong{{"email", ana}, {"password", "guess"}};
        for (int attempt = 0; attempt < 6; ++attempt)
            QCOMPARE(post("auth/login", wrong).status, 401);
        const Exchange held = post("auth/login", {{"email", ana}, {"password", anaPassword}});
        QCOMPARE(held.status, 429);
        QCOMPARE(held.json()["error"].toString(),
                 QStringLiteral("Too many sign-in attempts; try again in 1 second."));
        QCOMPARE(held.retryAfter, QByteArray("1"));
        m_time.advance(std::chrono::seconds(1));
        QCOMPARE(post("auth/login", wrong).status, 401);
        QCOMPARE(post("auth/login", wrong).json()["error"].toString(),
                 QStringLiteral("Too many sign-in attempts; try again in 2 seconds."));
        QCOMPARE(signIn(bo, boPassword).isEmpty(), false);
        m_time.advance(std::chrono::seconds(2));
        QVERIFY(!signIn().isEmpty());
        QCOMPARE(post("auth/login", wrong).status, 401);
    }

    void pairingCodesExpire()
    {
        const QString token = signIn();
        const Exchange pairing = m_client.postNothing(url("v1/pairing"), token);
        QCOMPARE(pairing.status, 200);
        const QString expired = pairing.json()["code"].toString();
        QCOMPARE(expired.size(), 8);
        QVERIFY(pairing.json()["deep_link"].toString().contains(expired));
        QCOMPARE(pairing.json()["expires_in"].toInt(), 300);
        m_time.advance(std::chrono::seconds(300));
        QCOMPARE(post("auth/pair", {{"code", expired}}).status, 400);

        const QString fresh = m_client.postNothing(url("v1/pairing"), token).json()["code"].toString();
        m_time.advance(std::chrono::seconds(299));
        const Exchange paired = post("auth/pair", {{"code", " " + fresh.toLower() + "\n"}});
        QCOMPARE(paired.status, 200);
        QCOMPARE(emailOf(paired), ana);
        QCOMPARE(post("auth/pair", {{"code", fresh}}).status, 400);
    }

    void revokedDevicesAreSignedOut()
    {
        const QString first = signIn();
        const QString second = signIn();
        const QString other = signIn(bo, boPassword);
        const Exchange listed = get("v1/devices", second);
        QCOMPARE(listed.json()["devices"].toArray().size(), 2);
        QCOMPARE(revoke(get("v1/devices", other).json()["current"].toInt(), first), 404);
        QCOMPARE(revoke(999, first), 404);
        QCOMPARE(revoke(listed.json()["current"].toInt(), first), 200);

        const Exchange refused = get("v1/me", second);
        QCOMPARE(refused.status, 401);
        QCOMPARE(refused.json(), (QJsonObject{{"error", "unauthorized"}}));
        QCOMPARE(post("v1/ask", {{"text", "hi"}}, second).status, 401);
        QCOMPARE(get("v1/me", first).status, 200);
        QCOMPARE(get("v1/me", other).status, 200);
    }

    void dailyLimitAnswers402UntilTheNextDay()
    {
        ServiceOptions limited = options();
        limited.dailyLimit = 2;
        start(limited);
        const QString token = signIn();
        const auto ask = [&](const QString& with) { return post("v1/ask", {{"text", "hi"}}, with); };
        QCOMPARE(ask(token).status, 200);
        QCOMPARE(ask(token).status, 200);
        const Exchange refused = ask(token);
        QCOMPARE(refused.status, 402);
        QVERIFY(!refused.json()["error"].toString().isEmpty());
        QCOMPARE(ask("shared").status, 200);
        m_time.advance(std::chrono::hours(24));
        QCOMPARE(ask(token).status, 200);
    }

    void stateKeepsDigestsAndSurvivesARestart()
    {
        ServiceOptions seeded = options();
        seeded.statePath = m_dir.filePath("state.json");
        start(seeded);
        const QString kept = signIn();
        const QString revoked = signIn();
        QCOMPARE(revoke(get("v1/devices", revoked).json()["current"].toInt(), kept), 200);
        m_running.reset();

        QFile file(seeded.statePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray state = file.readAll();
        QVERIFY(state.contains("pbkdf2-sha256$"));
        for (const QString& secret : {anaPassword, boPassword, kept, revoked})
            QVERIFY2(!state.contains(secret.toUtf8()), qPrintable(secret));
        QCOMPARE(file.permissions(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                         QFileDevice::ReadUser | QFileDevice::WriteUser);

        // Started again from the state alone.
        ServiceOptions restarted;
        restarted.statePath = seeded.statePath;
        start(restarted);
        QCOMPARE(get("v1/me", kept).json()["user"].toObject(),
                 (QJsonObject{{"email", ana}, {"plan", "pro"}, {"role", "admin"}}));
        QCOMPARE(get("v1/me", revoked).status, 401);
        QVERIFY(!signIn().isEmpty());
    }

    void unreadableStateStopsTheStart()
    {
        ServiceOptions broken = options();
        broken.statePath = m_dir.filePath("broken.json");
        QFile file(broken.statePath);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("{ not json") > 0);
        file.close();
        const std::optional<QString> problem = TavrinService(broken).bind();
        QVERIFY(problem);
        QVERIFY2(problem->contains(broken.statePath), qPrintable(*problem));
    }
};

QTEST_GUILESS_MAIN(TestAccountRoutes)
#include "tst_accountroutes.moc"
