#include "ClosedPort.h"
#include "ScriptedServer.h"
#include "service/AuthClient.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Waits for one callback of an account operation.
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

QJsonObject bodyOf(const RecordedRequest& request)
{
    return QJsonDocument::fromJson(request.body).object();
}

const QByteArray sessionJson = R"({"token":"tok","user":{"email":"ana@x.org","plan":"pro","role":"user"}})";

ScriptedResponse json(int status, const QByteArray& body)
{
    return ScriptedResponse(status).header("Content-Type", "application/json").part(body);
}

} // namespace

class TestAuthClient : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_home;
    AgentConfig configFor(const ScriptedServer& server) const
    {
        return {server.url().toString(), QStringLiteral("secret-token"), std::nullopt};
    }

private slots:
    void initTestCase()
    {
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(m_home.filePath(QStringLiteral("config.json"))));
    }

    void checkJudgesStatusAndBody_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("message");
        QTest::newRow("2xx passes") << 204 << QByteArray("junk") << QString();
        QTest::newRow("service error text")
            << 401 << QByteArray(R"({"error":"unauthorized"})") << QStringLiteral("unauthorized");
        QTest::newRow("HTML page") << 500 << QByteArray("<html/>")
                                   << QStringLiteral("Server returned HTTP 500");
        QTest::newRow("empty object")
            << 404 << QByteArray("{}") << QStringLiteral("Server returned HTTP 404");
        QTest::newRow("error not a string")
            << 502 << QByteArray(R"({"error":3})") << QStringLiteral("Server returned HTTP 502");
        QTest::newRow("nested error message")
            << 503 << QByteArray(R"({"error":{"message":" model down "}})") << QStringLiteral("model down");
        QTest::newRow("blank error text")
            << 500 << QByteArray(R"({"error":"  "})") << QStringLiteral("Server returned HTTP 500");
    }
    void checkJudgesStatusAndBody()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, message);
        const Result<void> judged = AuthClient::check(status, body);
        QCOMPARE(judged.ok(), message.isEmpty());
        if (!judged.ok()) {
            QCOMPARE(judged.error().message, message);
            QCOMPARE(judged.error().domain, AuthClient::failureDomain);
        }
    }

    void loginPostsCredentialsWithDeviceFields()
    {
        ScriptedServer server;
        server.enqueue(json(200, sessionJson));
        Outcome<AuthClient::Session> outcome;
        const QString typed = QStringLiteral("  ") + server.url(QStringLiteral("/base/")).toString() + "\n";
        AuthClient::login(typed, QStringLiteral("ana@x.org"), QStringLiteral("pw"), this, outcome.callback());
        const auto& session = outcome.wait();
        QVERIFY(session.ok());
        QCOMPARE(session.value(), (AuthClient::Session{"tok", {"ana@x.org", "pro", "user"}}));

        const RecordedRequest& sent = server.requests().at(0);
        QCOMPARE(sent.method, QByteArray("POST"));
        QCOMPARE(sent.path, QByteArray("/base/auth/login"));
        QCOMPARE(sent.header("Content-Type"), QByteArray("application/json"));
        const QJsonObject body = bodyOf(sent);
        QCOMPARE(body.value("email").toString(), QStringLiteral("ana@x.org"));
        QCOMPARE(body.value("password").toString(), QStringLiteral("pw"));
        QCOMPARE(body.value("client").toString(), QStringLiteral("app"));
        QCOMPARE(body.value("platform").toString(), QStringLiteral("mac"));
        QCOMPARE(body.value("name").toString(), AuthClient::deviceName());
        QVERIFY(!AuthClient::deviceName().isEmpty());
    }

    void rejectionsAndUndecodableBodies()
    {
        ScriptedServer server;
        server.enqueue(json(401, R"({"error":"unauthorized"})"));
        server.enqueue(json(200, R"({"token":"tok"})"));
        Outcome<AuthClient::Session> rejected, undecodable;
        AuthClient::pair(server.url().toString(), QStringLiteral("123456"), this, rejected.callback());
        QCOMPARE(rejected.wait().error().message, QStringLiteral("unauthorized"));
        QCOMPARE(bodyOf(server.requests().at(0)).value("code").toString(), QStringLiteral("123456"));
        AuthClient::pair(server.url().toString(), QStringLiteral("123456"), this, undecodable.callback());
        QCOMPARE(undecodable.wait().error().domain, QStringLiteral("Decoding"));
    }

    void badAddressSendsNothing()
    {
        Outcome<AuthClient::Session> outcome;
        AuthClient::login(QStringLiteral("localhost"), QStringLiteral("a"), QStringLiteral("b"), this,
                          outcome.callback());
        QVERIFY(!outcome.wait().ok());
        QVERIFY(!AuthClient::googleStartURL(QStringLiteral("not a url")).ok());
    }

    void codePurposeFallsBackToLogin()
    {
        ScriptedServer server;
        server.enqueue(json(200, ""));
        server.enqueue(json(200, R"({"purpose":"verify"})"));
        Outcome<QString> empty, verify;
        AuthClient::sendCode(server.url().toString(), QStringLiteral("a@x"), this, empty.callback());
        QCOMPARE(empty.wait().value(), QStringLiteral("login"));
        AuthClient::sendCode(server.url().toString(), QStringLiteral("a@x"), this, verify.callback());
        QCOMPARE(verify.wait().value(), QStringLiteral("verify"));

        server.enqueue(json(200, sessionJson));
        Outcome<AuthClient::Session> verified;
        AuthClient::verifyCode(server.url().toString(), QStringLiteral("a@x"), QStringLiteral("42"), true,
                               this, verified.callback());
        QVERIFY(verified.wait().ok());
        QCOMPARE(server.requests().at(2).path, QByteArray("/auth/verify"));
    }

    void serverConfigNeedsItsRequiredFlags()
    {
        ScriptedServer server;
        server.enqueue(json(200, R"({"google":true,"email":false,"invite_only":true})"));
        server.enqueue(json(200, R"({"google":true,"email":false,"apple_web":null})"));
        Outcome<AuthClient::ServerConfig> withoutApple, withoutInvite;
        AuthClient::config(server.url().toString(), this, withoutApple.callback());
        QCOMPARE(withoutApple.wait().value(), (AuthClient::ServerConfig{true, std::nullopt, false, true}));
        AuthClient::config(server.url().toString(), this, withoutInvite.callback());
        QCOMPARE(withoutInvite.wait().error().domain, QStringLiteral("Decoding"));
    }

    void authorizedCallsCarryTheToken()
    {
        ScriptedServer server;
        server.enqueue(json(200, R"({"user":{"email":"a@x","plan":"free","role":"admin"}})"));
        server.enqueue(
            json(200, "{\"code\":\"ABC123\",\"deep_link\":\"https://p.example/pair\",\"expires_in\":600}"));
        Outcome<AuthClient::User> user;
        Outcome<AuthClient::Pairing> pairing;
        AuthClient::me(configFor(server), this, user.callback());
        QCOMPARE(user.wait().value().role, QStringLiteral("admin"));
        AuthClient::newPairingCode(configFor(server), this, pairing.callback());
        QCOMPARE(pairing.wait().value(), (AuthClient::Pairing{"ABC123", "https://p.example/pair", 600}));

        const RecordedRequest& pairingRequest = server.requests().at(1);
        QCOMPARE(server.requests().at(0).header("Authorization"), QByteArray("Bearer secret-token"));
        QCOMPARE(pairingRequest.method, QByteArray("POST"));
        QCOMPARE(pairingRequest.path, QByteArray("/v1/pairing"));
        QVERIFY(pairingRequest.body.isEmpty());
        QCOMPARE(pairingRequest.header("Content-Length"), QByteArray("0"));
        QVERIFY(!pairingRequest.hasHeader("Content-Type"));
    }

    void tokenNeverFollowsARedirectToAnotherOrigin()
    {
        ScriptedServer home, elsewhere;
        home.enqueue(ScriptedResponse::redirect(elsewhere.url(QStringLiteral("/v1/me"))));
        Outcome<AuthClient::User> user;
        AuthClient::me(configFor(home), this, user.callback());
        QVERIFY(!user.wait().ok());
        QVERIFY(elsewhere.requests().isEmpty());
    }

    void signOutRevokesThisDeviceThenForgetsIt_data()
    {
        QTest::addColumn<QByteArray>("devices");
        QTest::addColumn<QByteArray>("deletePath");
        QTest::newRow("current device") << QByteArray(R"({"current":17})") << QByteArray("/v1/devices/17");
        QTest::newRow("no current device") << QByteArray("{}") << QByteArray();
        QTest::newRow("current mistyped") << QByteArray(R"({"current":"17"})") << QByteArray();
    }
    void signOutRevokesThisDeviceThenForgetsIt()
    {
        QFETCH(QByteArray, devices);
        QFETCH(QByteArray, deletePath);
        ScriptedServer server;
        server.enqueue(json(200, devices));
        server.enqueue(json(200, "{}"));
        QVERIFY(configFor(server).save().ok());
        bool done = false;
        AuthClient::signOut(configFor(server), this, [&done] { done = true; });
        QTRY_VERIFY(done);
        QVERIFY(!AgentConfig::load());
        QCOMPARE(server.requests().size(), deletePath.isEmpty() ? 1 : 2);
        if (!deletePath.isEmpty()) {
            QCOMPARE(server.requests().at(1).method, QByteArray("DELETE"));
            QCOMPARE(server.requests().at(1).path, deletePath);
        }
    }

    void destroyedContextHearsNothing()
    {
        ScriptedServer server;
        server.enqueue(json(200, R"({"user":)").heldPart("{}}"));
        QSignalSpy closed(&server, &ScriptedServer::closedByClient);
        int answers = 0;
        {
            QObject context;
            AuthClient::me(configFor(server), &context,
                           [&answers](const Result<AuthClient::User>&) { ++answers; });
            QTRY_VERIFY(server.isHolding());
        }
        QTRY_COMPARE(closed.size(), 1);
        QCOMPARE(answers, 0);
    }

    void signOutForgetsEvenWithTheServerDown()
    {
        const ClosedPort closed;
        QVERIFY(closed.port());
        const AgentConfig config{QStringLiteral("http://127.0.0.1:%1").arg(closed.port()),
                                 QStringLiteral("t"), std::nullopt};
        QVERIFY(config.save().ok());
        bool done = false;
        AuthClient::signOut(config, this, [&done] { done = true; });
        QTRY_VERIFY(done);
        QVERIFY(!AgentConfig::load());
    }

    void googleStartAddress()
    {
        const Result<QUrl> start = AuthClient::googleStartURL(QStringLiteral("https://h.example/x/?old=1"));
        QCOMPARE(start.value(), QUrl(QStringLiteral("https://h.example/x/auth/google/start?client=app")));
    }
};

QTEST_GUILESS_MAIN(TestAuthClient)
#include "tst_authclient.moc"
