#include "ViewChecks.h"
#include "WindowFakes.h"
#include "WindowReplies.h"
#include "views/SignInModel.h"
#include "views/SignInView.h"

#include <QLabel>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace WindowReplies;

namespace {

QLineEdit* fieldNamed(QWidget* root, const QString& name)
{
    for (QLineEdit* field : root->findChildren<QLineEdit*>()) {
        if (accessibleName(field) == name && field->isVisibleTo(root))
            return field;
    }
    return nullptr;
}

} // namespace

// The sign-in window: its model over a browser the test answers and the scripted service, and its view.
class SignInWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(m_home.isValid());
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(m_home.filePath(QStringLiteral("config.json"))));
    }
    void init()
    {
        AgentConfig::remove();
        m_server = std::make_unique<ScriptedServer>();
    }

    void theServerOptionsDecideWhatIsOffered()
    {
        m_server->enqueue(signInOptions(true, true));
        SignInModel model(m_web);
        model.setServer(m_server->url().toString());
        SignInView view(model);
        view.show();
        QTRY_VERIFY(model.serverConfig().has_value());
        QVERIFY(model.offersGoogle() && model.offersEmailCode());
        QVERIFY(!model.hasMessage());
        for (const char* way : {"Continue with Google", "Email code", "Password", "Pairing code"})
            QVERIFY2(visibleButton(&view, QString::fromUtf8(way)), way);
        QVERIFY2(unnamedControls(&view).isEmpty(), qPrintable(unnamedControls(&view).join(", ")));
    }

    // A sign-in saves the account with the server as typed, trimmed.
    void passwordSignIn()
    {
        SignInModel model(m_web);
        model.setServer(m_server->url().toString() + QStringLiteral("/\n"));
        m_server->enqueue(signInOptions(false, false));
        m_server->enqueue(user("ada@example.com", true));
        QSignalSpy signedIn(&model, &SignInModel::signedIn);
        model.setEmail(QStringLiteral("ada@example.com"));
        model.setPassword(QStringLiteral("secret"));
        model.login();
        QVERIFY(model.busy());
        QTRY_VERIFY(!model.busy());
        QVERIFY2(!model.hasMessage(), qPrintable(model.message()));
        const AgentConfig expected{m_server->url().toString(), QStringLiteral("tok-1"),
                                   QStringLiteral("ada@example.com")};
        QCOMPARE(signedIn.size(), 1);
        QCOMPARE(signedIn.first().first().value<AgentConfig>(), expected);
        QCOMPARE(AgentConfig::load(), std::optional(expected));
    }

    // The window walks through the code steps; a refused code shows its message and changing the mode
    // forgets the step, but not the address.
    void theEmailCodeSteps()
    {
        m_server->enqueue(signInOptions(false, true));
        m_server->enqueue(json("{\"purpose\":\"verify\"}"));
        m_server->enqueue(refusal(400, "That code is not right."));
        SignInModel model(m_web);
        model.setServer(m_server->url().toString());
        SignInView view(model);
        view.show();
        QTRY_VERIFY(visibleButton(&view, QStringLiteral("Email code")));
        visibleButton(&view, QStringLiteral("Email code"))->click();
        QVERIFY(!fieldNamed(&view, QStringLiteral("6-digit code from the email")));
        QTest::keyClicks(fieldNamed(&view, QStringLiteral("Email")), QStringLiteral("bo@example.com"));
        QTest::keyClick(fieldNamed(&view, QStringLiteral("Email")), Qt::Key_Return);
        QVERIFY(model.busy());
        QVERIFY(!view.findChild<QWidget*>()->isEnabled());
        QTRY_VERIFY(fieldNamed(&view, QStringLiteral("6-digit code from the email")));
        QVERIFY(model.verifyCode());
        QVERIFY(!visibleButton(&view, QStringLiteral("Email me a code")));
        QLineEdit* code = fieldNamed(&view, QStringLiteral("6-digit code from the email"));
        QTest::keyClicks(code, QStringLiteral("12345"));
        QAbstractButton* signIn = visibleButton(&view, QStringLiteral("Sign in"));
        QVERIFY(!signIn->isEnabled());
        QTest::keyClicks(code, QStringLiteral("6"));
        signIn->click();
        auto* message = view.findChild<QLabel*>(QStringLiteral("message"));
        QTRY_VERIFY(message->isVisibleTo(&view));
        QCOMPARE(message->text(), QStringLiteral("That code is not right."));
        QCOMPARE(m_server->requests().last().path, QByteArray("/auth/verify"));

        model.setMode(SignInModel::Mode::Password);
        model.setMode(SignInModel::Mode::Code);
        QVERIFY(!model.codeSent() && !model.verifyCode() && !model.hasMessage());
        QVERIFY(model.code().isEmpty());
        QCOMPARE(model.email(), QStringLiteral("bo@example.com"));
        QVERIFY(!message->isVisibleTo(&view));
    }

    // A callback without what it needs fails with a message, and nothing is asked of the service.
    void unusableGoogleCallbacks_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("message");

        QTest::newRow("ok without code") << "status=ok"
                                         << "Google sign-in failed";
        QTest::newRow("service error") << "error=Google%20said%20no"
                                       << "Google said no";
    }
    void unusableGoogleCallbacks()
    {
        QFETCH(QString, query);
        QFETCH(QString, message);

        SignInModel model(m_web);
        model.setServer(m_server->url().toString());
        m_server->enqueue(signInOptions(true, false));
        QSignalSpy signedIn(&model, &SignInModel::signedIn);
        model.google();
        QVERIFY(model.busy());
        m_web.answer(QUrl(QStringLiteral("morvik://auth?") + query));
        QTRY_VERIFY(!model.busy());
        QCOMPARE(signedIn.size(), 0);
        QVERIFY(!model.needsInvite());
        QCOMPARE(model.message(), message);
    }

private:
    QTemporaryDir m_home;
    FakeWebAuthSession m_web;
    std::unique_ptr<ScriptedServer> m_server;
};

QTEST_MAIN(SignInWindowTest)
#include "tst_signinwindow.moc"
