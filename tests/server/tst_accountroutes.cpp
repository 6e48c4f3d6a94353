#include "PasswordHash.h"
#include "RunningService.h"
#include "Secrets.h"

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
const QString boPassword = QStringLiteral("bo's password");
const QString invite = QStringLiteral("MRV-ABCD-EFGH");

QString emailOf(const Exchange& exchange)
{
    return exchange.json().value("user")["email"].toString();
}

} // namespace

// The accounts: sign-in, mailed codes, pairing, devices, Google sign-in, limits and the state file.
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
        base.seed.invites = {invite};
        base.mailboxPath = mailbox();
        base.googleStandIn = true;
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

    // The query of the agent's callback after Google's consent page.
    QUrlQuery consent(const QString& query)
    {
        return QUrlQuery(QUrl(QString::fromUtf8(get("auth/google/consent?" + query).location)).query());
    }

    Exchange complete(const QString& ticket, const QString& code)
    {
        return post("auth/social/complete", {{"ticket", ticket}, {"invite", code}});
    }

private slots:
    void cleanup() { m_running.reset(); }

    void passwordSignInGivesASession()
    {
        QCOMPARE(
            get("auth/config").json(),
            (QJsonObject{{"google", true}, {"apple_web", false}, {"email", true}, {"invite_only", true}}));
        const Exchange login = post("auth/login", {{"email", " Ana@Example.com"}, {"password", anaPassword}});
        QCOMPARE(login.status, 200);
        const QJsonObject user{{"email", ana}, {"plan", "pro"}, {"role", "admin"}};
        QCOMPARE(login.json()["user"].toObject(), user);
        const Exchange me = get("v1/me", login.json()["token"].toString());
        QCOMPARE(me.status, 200);
        QCOMPARE(me.json(), (QJsonObject{{"user", user}}));
    }

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

    void googleSignInOfAKnownAddressPairs()
    {
        const QString state = QStringLiteral("a1-B2_c3&x=\"<y>");
        const QString start = QStringLiteral("auth/google/start?client=app&state=") +
                              QString::fromLatin1(QUrl::toPercentEncoding(state));
        const QByteArray page = get(start).body;
        QVERIFY(page.contains("<form"));
        QVERIFY2(page.contains(state.toHtmlEscaped().toUtf8()) && !page.contains("<y>"), page.constData());
        const Exchange callback = get("auth/google/consent?email=BO@example.com&state=" +
                                      QString::fromLatin1(QUrl::toPercentEncoding(state)));
        QCOMPARE(callback.status, 302);
        QVERIFY(callback.location.startsWith("morvik:"));
        const QUrlQuery query(QUrl(QString::fromUtf8(callback.location)).query());
        QCOMPARE(query.queryItemValue("status"), QStringLiteral("ok"));
        QCOMPARE(query.queryItemValue("state", QUrl::FullyDecoded), state);
        QCOMPARE(emailOf(post("auth/pair", {{"code", query.queryItemValue("code")}})), bo);
    }

    void googleSignInOfANewAddressTakesAnInvite()
    {
        const QUrlQuery first = consent("email=cy@example.com");
        QCOMPARE(first.queryItemValue("need"), QStringLiteral("invite"));
        const QString ticket = first.queryItemValue("ticket");
        QVERIFY(!ticket.isEmpty());
        QCOMPARE(complete(ticket, "MRV-WRONG").status, 403);
        QCOMPARE(complete("made-up-ticket", invite).status, 400);
        const Exchange created = complete(ticket, invite);
        QCOMPARE(created.status, 200);
        QCOMPARE(emailOf(created), QStringLiteral("cy@example.com"));
        QCOMPARE(complete(ticket, invite).status, 400);
        const QString guessed = consent("email=eve@example.com").queryItemValue("ticket");
        for (int guess = 0; guess < 5; ++guess)
            QCOMPARE(complete(guessed, QStringLiteral("MRV-GUESS-%1").arg(guess)).status, 403);
        QCOMPARE(complete(guessed, "MRV-GUESS-6").status, 400);
        QCOMPARE(complete(consent("email=dee@example.com").queryItemValue("ticket"), invite).status, 403);
        QVERIFY(consent("cancel=1").hasQueryItem("error"));
    }

    void sharedTokenModeServesNoAccounts()
    {
        ServiceOptions tokenOnly;
        tokenOnly.token = QStringLiteral("shared");
        start(tokenOnly);
        // The agent's pairing window takes a 404 whose message names it as the sign of a server without
        // accounts, and shows the shared-token link instead.
        const Exchange pairing = m_client.post(ServiceClient::request(url("v1/pairing"), "shared"), {});
        QCOMPARE(pairing.status, 404);
        QVERIFY(pairing.json()["error"].toString().contains("404"));
        QCOMPARE(post("auth/login", {{"email", ana}}).status, 404);
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

    void passwordHashes_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("tried");
        QTest::addColumn<bool>("matches");
        const QString hash = PasswordHash::make(anaPassword, 1000);
        QStringList parts = hash.split('$');
        parts[1] = QString::number(parts[1].toInt() - 1);
        QTest::newRow("same password") << hash << anaPassword << true;
        QTest::newRow("other password") << hash << anaPassword + " " << false;
        QTest::newRow("other iteration count") << parts.join('$') << anaPassword << false;
        QTest::newRow("plain text stored") << anaPassword << anaPassword << false;
    }
    void passwordHashes()
    {
        QFETCH(QString, stored);
        QFETCH(QString, tried);
        QFETCH(bool, matches);
        QCOMPARE(PasswordHash::matches(tried, stored), matches);
    }

    void saltMakesEveryHashDifferent()
    {
        QVERIFY(PasswordHash::make(anaPassword, 1000) != PasswordHash::make(anaPassword, 1000));
    }

    void stateKeepsDigestsAndSurvivesARestart()
    {
        ServiceOptions seeded = options();
        seeded.statePath = m_dir.filePath("state.json");
        start(seeded);
        const QString kept = signIn();
        const QString revoked = signIn();
        QCOMPARE(revoke(get("v1/devices", revoked).json()["current"].toInt(), kept), 200);
        QCOMPARE(complete(consent("email=cy@example.com").queryItemValue("ticket"), invite).status, 200);
        m_running.reset();

        QFile file(seeded.statePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray state = file.readAll();
        QVERIFY(state.contains("pbkdf2-sha256$"));
        for (const QString& secret : {anaPassword, boPassword, kept, revoked, invite})
            QVERIFY2(!state.contains(secret.toUtf8()), qPrintable(secret));
        QCOMPARE(file.permissions(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                         QFileDevice::ReadUser | QFileDevice::WriteUser);

        // Started again from the state alone, with the same invite offered again.
        ServiceOptions restarted;
        restarted.statePath = seeded.statePath;
        restarted.seed.invites = {invite};
        restarted.googleStandIn = true;
        start(restarted);
        QCOMPARE(get("v1/me", kept).json()["user"].toObject(),
                 (QJsonObject{{"email", ana}, {"plan", "pro"}, {"role", "admin"}}));
        QCOMPARE(get("v1/me", revoked).status, 401);
        QVERIFY(!signIn().isEmpty());
        QCOMPARE(complete(consent("email=dee@example.com").queryItemValue("ticket"), invite).status, 403);
    }

    void jsonStateIsMigrated()
    {
        const QString token = QStringLiteral("tv_migrated-token");
        const QJsonObject json{
            {"version", 1},
            {"accounts", QJsonArray{QJsonObject{{"email", ana},
                                                {"password_pbkdf2", PasswordHash::make(anaPassword, 1000)},
                                                {"plan", "pro"},
                                                {"role", "admin"}}}},
            {"devices", QJsonArray{QJsonObject{{"id", 4},
                                               {"email", ana},
                                               {"token_sha256", Secrets::digest(token)},
                                               {"name", "old laptop"},
                                               {"client", "app"},
                                               {"platform", "mac"},
                                               {"created", "2026-03-01T10:00:00Z"}}}},
            {"next_device", 7},
            {"used_invites_sha256", QJsonArray{Secrets::digest(invite)}},
            {"usage", QJsonObject{}}};
        ServiceOptions migrating;
        migrating.statePath = m_dir.filePath("migrating.state");
        migrating.seed.invites = {invite};
        migrating.googleStandIn = true;
        QFile file(migrating.statePath);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(json).toJson()) > 0);
        file.close();
        start(migrating);
        QVERIFY(QFile::exists(migrating.statePath + ".json-before-sqlite"));
        QCOMPARE(emailOf(get("v1/me", token)), ana);
        QCOMPARE(complete(consent("email=cy@example.com").queryItemValue("ticket"), invite).status, 403);
        const QString fresh = signIn();
        QCOMPARE(get("v1/devices", fresh).json()["current"].toInt(), 7);
        m_running.reset();
        start(migrating);
        QCOMPARE(emailOf(get("v1/me", token)), ana);
        QCOMPARE(emailOf(get("v1/me", fresh)), ana);
    }

    void unusedDevicesExpire()
    {
        ServiceOptions expiring = options();
        expiring.statePath = m_dir.filePath("expiring.state");
        expiring.deviceExpiry = std::chrono::days(30);
        start(expiring);
        const QString used = signIn();
        const QString unused = signIn();
        m_time.advance(std::chrono::days(20));
        QCOMPARE(get("v1/me", used).status, 200);
        m_time.advance(std::chrono::days(20));
        QCOMPARE(get("v1/me", used).status, 200);
        QCOMPARE(get("v1/me", unused).status, 401);
        m_running.reset();
        start(expiring);
        QCOMPARE(get("v1/me", used).status, 200);
        QCOMPARE(get("v1/devices", used).json()["devices"].toArray().size(), 1);
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
