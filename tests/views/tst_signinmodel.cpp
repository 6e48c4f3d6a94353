#include "WindowFakes.h"
#include "WindowReplies.h"
#include "views/SignInModel.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>

using namespace WindowReplies;

namespace {

QJsonObject bodyOf(const RecordedRequest& request)
{
    return QJsonDocument::fromJson(request.body).object();
}

} // namespace

class SignInModelTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(configPath()));
    }
    void init()
    {
        AgentConfig::remove();
        QDir(m_home.filePath(QStringLiteral("account"))).removeRecursively();
        QFile::remove(m_home.filePath(QStringLiteral("account")));
        m_server.reset(new ScriptedServer);
    }

    void theServerComesFromTheStoredConfiguration()
    {
        QCOMPARE(SignInModel(m_web).server(), QStringLiteral("http://127.0.0.1:8080"));
        QVERIFY(AgentConfig({QStringLiteral("https://tavrin.example"), QStringLiteral("t"), std::nullopt})
                    .save()
                    .ok());
        QCOMPARE(SignInModel(m_web).server(), QStringLiteral("https://tavrin.example"));
    }

    void theServerOptionsDecideWhatIsOffered_data()
    {
        QTest::addColumn<bool>("reachable");
        QTest::addColumn<bool>("google");
        QTest::addColumn<bool>("email");

        QTest::newRow("everything") << true << true << true;
        QTest::newRow("password only") << true << false << false;
        QTest::newRow("unreachable") << false << false << false;
    }
    void theServerOptionsDecideWhatIsOffered()
    {
        QFETCH(bool, reachable);
        QFETCH(bool, google);
        QFETCH(bool, email);

        if (reachable)
            m_server->enqueue(signInOptions(google, email));
        else
            m_server->enqueue(json("<html>", 502));
        SignInModel model(m_web);
        model.setServer(m_server->url().toString());
        QTRY_COMPARE(model.serverConfig().has_value(), reachable);
        QCOMPARE(model.offersGoogle(), google);
        QCOMPARE(model.offersEmailCode(), email);
        QVERIFY(!model.hasMessage());
    }

    void changingTheServerAbandonsTheRunningLoad()
    {
        ScriptedServer slow;
        slow.enqueue(json("{}", 200, true));
        m_server->enqueue(signInOptions(true, false));
        SignInModel model(m_web);
        model.setServer(slow.url().toString());
        QTRY_VERIFY(slow.isHolding());
        QSignalSpy abandoned(&slow, &ScriptedServer::closedByClient);
        model.setServer(m_server->url().toString());
        QVERIFY(abandoned.wait());
        QTRY_VERIFY(model.offersGoogle());
        QSignalSpy changed(&model, &SignInModel::serverConfigChanged);
        slow.release();
        QVERIFY(!changed.wait(200));
        QVERIFY(model.offersGoogle());
    }

    void enablingFollowsWhatIsTyped_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<bool>("submit");
        QTest::addColumn<bool>("pair");

        QTest::newRow("five") << "12345" << false << false;
        QTest::newRow("six") << "123456" << true << false;
        QTest::newRow("seven among blanks") << " \tABCD234  " << true << false;
        QTest::newRow("eight") << "ABCD2345" << true << true;
        QTest::newRow("eight among blanks") << "  ABCD2345\t" << true << true;
    }
    void enablingFollowsWhatIsTyped()
    {
        QFETCH(QString, code);
        QFETCH(bool, submit);
        QFETCH(bool, pair);

        SignInModel model(m_web);
        model.setCode(code);
        QCOMPARE(model.canSubmitCode(), submit);
        QCOMPARE(model.canPair(), pair);
        QVERIFY(!model.canLogIn() && !model.canSendCode());
        model.setEmail(QStringLiteral("a@b.c"));
        QVERIFY(model.canSendCode() && !model.canLogIn());
        model.setPassword(QStringLiteral("pw"));
        QVERIFY(model.canLogIn());
    }

    void passwordSignInSavesTheTrimmedServer()
    {
        SignInModel model(m_web);
        QSignalSpy signedIn(&model, &SignInModel::signedIn);
        model.setServer(m_server->url().toString() + QStringLiteral("/\n"));
        m_server->enqueue(signInOptions(false, false));
        m_server->enqueue(user("ada@example.com", true));
        model.setEmail(QStringLiteral("ada@example.com"));
        model.setPassword(QStringLiteral("secret"));
        model.login();
        QVERIFY(model.busy());
        QVERIFY(signedIn.wait());
        QVERIFY(!model.busy());
        const AgentConfig expected{m_server->url().toString(), QStringLiteral("tok-1"),
                                   QStringLiteral("ada@example.com")};
        QCOMPARE(signedIn.first().first().value<AgentConfig>(), expected);
        QCOMPARE(AgentConfig::load(), expected);
    }

    void aFailureIsShownAndTheFieldsKept_data()
    {
        QTest::addColumn<bool>("refused");
        QTest::addColumn<QString>("message");
        QTest::newRow("refused") << true << "Wrong e-mail or password.";
        QTest::newRow("cannot save") << false << "Could not create the folder";
    }
    void aFailureIsShownAndTheFieldsKept()
    {
        QFETCH(bool, refused);
        QFETCH(QString, message);

        if (!refused) {
            // A plain file where the configuration's folder should be.
            QFile blocker(m_home.filePath(QStringLiteral("account")));
            QVERIFY(blocker.open(QIODevice::WriteOnly));
        }
        SignInModel model(m_web);
        model.setServer(m_server->url().toString());
        m_server->enqueue(signInOptions(false, false));
        m_server->enqueue(refused ? refusal(401, "Wrong e-mail or password.")
                                  : user("ada@example.com", true));
        QSignalSpy signedIn(&model, &SignInModel::signedIn);
        model.setEmail(QStringLiteral("ada@example.com"));
        model.setPassword(QStringLiteral("wrong"));
        model.login();
        QTRY_VERIFY(!model.busy());
        QVERIFY(model.hasMessage());
        QVERIFY2(model.message().startsWith(message), qPrintable(model.message()));
        QCOMPARE(model.password(), QStringLiteral("wrong"));
        QVERIFY(signedIn.isEmpty());
        QVERIFY(!AgentConfig::load());
    }

    void theCodesPurposeChoosesWhereItIsChecked_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QByteArray>("path");

        QTest::newRow("verify") << QByteArray("{\"purpose\":\"verify\"}") << QByteArray("/auth/verify");
        QTest::newRow("login") << QByteArray("{\"purpose\":\"login\"}") << QByteArray("/auth/code/verify");
    }
    void theCodesPurposeChoosesWhereItIsChecked()
    {
        QFETCH(QByteArray, answer);
        QFETCH(QByteArray, path);

        SignInModel model(m_web);
        model.setMode(SignInModel::Mode::Code);
        model.setServer(m_server->url().toString());
        m_server->enqueue(signInOptions(false, true));
        m_server->enqueue(json(answer));
        m_server->enqueue(user("bo@example.com", true));
        model.setEmail(QStringLiteral("bo@example.com"));
        model.sendCode();
        QTRY_VERIFY(model.codeSent());
        QVERIFY(!model.busy());
        model.setCode(QStringLiteral("123456"));
        QSignalSpy signedIn(&model, &SignInModel::signedIn);
        model.submitCode(model.verifyCode());
        QVERIFY(signedIn.wait());
        QCOMPARE(bodyOf(requestTo(path)).value("code").toString(), QStringLiteral("123456"));
    }

    void changingTheModeForgetsTheCodeStep()
    {
        SignInModel model(m_web);
        model.setServer(m_server->url().toString());
        m_server->enqueue(signInOptions(false, true));
        m_server->enqueue(json("{\"purpose\":\"verify\"}"));
        m_server->enqueue(refusal(400, "Wrong code."));
        model.setMode(SignInModel::Mode::Code);
        model.setEmail(QStringLiteral("bo@example.com"));
        model.sendCode();
        QTRY_VERIFY(model.codeSent());
        model.setCode(QStringLiteral("999999"));
        model.submitCode(true);
        QTRY_VERIFY(model.hasMessage());
        model.setMode(SignInModel::Mode::Password);
        model.setMode(SignInModel::Mode::Code);
        QVERIFY(!model.codeSent() && !model.verifyCode() && !model.hasMessage());
        QVERIFY(model.code().isEmpty());
        QCOMPARE(model.email(), QStringLiteral("bo@example.com"));
    }

    void googleCallbacks_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<bool>("signsIn");
        QTest::addColumn<bool>("invite");
        QTest::addColumn<QString>("message");

        QTest::newRow("ok") << "status=ok&code=G00GLE12" << true << false << "";
        QTest::newRow("first code counts") << "status=ok&code=G00GLE12&code=other" << true << false << "";
        QTest::newRow("needs an invite") << "need=invite&ticket=T1" << false << true << "";
        QTest::newRow("ok without code") << "status=ok" << false << false << "Google sign-in failed";
        QTest::newRow("service error") << "error=Google%20said%20no" << false << false << "Google said no";
        QTest::newRow("invite without ticket") << "need=invite" << false << false << "Google sign-in failed";
    }
    void googleCallbacks()
    {
        QFETCH(QString, query);
        QFETCH(bool, signsIn);
        QFETCH(bool, invite);
        QFETCH(QString, message);

        SignInModel model(m_web);
        model.setServer(m_server->url().toString());
        m_server->enqueue(signInOptions(true, false));
        m_server->enqueue(user("dee@example.com", true));
        QSignalSpy signedIn(&model, &SignInModel::signedIn);
        model.google();
        QVERIFY(model.busy());
        QCOMPARE(m_web.start.path(), QStringLiteral("/auth/google/start"));
        QCOMPARE(QUrlQuery(m_web.start).queryItemValue("client"), QStringLiteral("app"));
        m_web.answer(QUrl(QStringLiteral("morvik://auth?") + query));
        QTRY_VERIFY(!model.busy());
        QCOMPARE(signedIn.size(), signsIn ? 1 : 0);
        if (signsIn)
            QCOMPARE(bodyOf(requestTo("/auth/pair")).value("code").toString(), QStringLiteral("G00GLE12"));
        QCOMPARE(model.needsInvite(), invite);
        QCOMPARE(model.message(), message);
    }

    void aCancelledBrowserSignInSaysNothing()
    {
        SignInModel model(m_web);
        model.setServer(QStringLiteral("http://127.0.0.1:1"));
        model.google();
        m_web.answer(Error::cancelled());
        QTRY_VERIFY(!model.busy());
        QVERIFY(!model.hasMessage());
        model.closed();
        QVERIFY(m_web.cancels > 0);
    }

    void theInviteStepCreatesTheAccount()
    {
        SignInModel model(m_web);
        model.setServer(m_server->url().toString());
        m_server->enqueue(signInOptions(true, false));
        model.completeSocial();
        QVERIFY(!model.busy());
        model.google();
        m_web.answer(QUrl(QStringLiteral("morvik://auth?need=invite&ticket=T-9")));
        QTRY_VERIFY(model.needsInvite());
        model.setMode(SignInModel::Mode::Pairing);
        QVERIFY(model.needsInvite());

        m_server->enqueue(refusal(400, "That invite code is not valid."));
        m_server->enqueue(user("eve@example.com", true));
        model.setInvite(QStringLiteral("MRV-ABCD-EFGH"));
        model.completeSocial();
        QTRY_VERIFY(!model.busy());
        QCOMPARE(model.message(), QStringLiteral("That invite code is not valid."));
        QSignalSpy signedIn(&model, &SignInModel::signedIn);
        model.completeSocial();
        QVERIFY(signedIn.wait());
        QVERIFY(!model.needsInvite());
        const QJsonObject sent = bodyOf(m_server->requests().last());
        QCOMPARE(m_server->requests().last().path, QByteArray("/auth/social/complete"));
        QCOMPARE(sent.value("ticket").toString(), QStringLiteral("T-9"));
        QCOMPARE(sent.value("invite").toString(), QStringLiteral("MRV-ABCD-EFGH"));
        QCOMPARE(sent.value("client").toString(), QStringLiteral("app"));
        QCOMPARE(sent.value("platform").toString(), QStringLiteral("mac"));
        QVERIFY(!sent.value("name").toString().isEmpty());
    }

private:
    QString configPath() const { return m_home.filePath(QStringLiteral("account/config.json")); }

    const RecordedRequest& requestTo(const QByteArray& path)
    {
        for (const RecordedRequest& request : m_server->requests()) {
            if (request.path == path)
                return request;
        }
        qFatal("no request to %s", path.constData());
    }

    QTemporaryDir m_home;
    FakeWebAuthSession m_web;
    std::unique_ptr<ScriptedServer> m_server;
};

QTEST_GUILESS_MAIN(SignInModelTest)
#include "tst_signinmodel.moc"
