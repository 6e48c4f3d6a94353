#include "ViewChecks.h"
#include "WindowFakes.h"
#include "WindowReplies.h"
#include "views/SignInModel.h"
#include "views/SignInView.h"
#include "views/Theme.h"

#include <QLabel>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

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

class SignInViewTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(m_home.isValid());
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(m_home.filePath(QStringLiteral("config.json"))));
    }

    void whatTheServerOffersIsShown_data()
    {
        QTest::addColumn<bool>("google");
        QTest::addColumn<bool>("email");
        QTest::newRow("everything") << true << true;
        QTest::newRow("password and pairing") << false << false;
    }
    void whatTheServerOffersIsShown()
    {
        QFETCH(bool, google);
        QFETCH(bool, email);

        ScriptedServer service;
        service.enqueue(WindowReplies::signInOptions(google, email));
        SignInModel model(m_browser);
        model.setServer(service.url().toString());
        SignInView view(model);
        view.show();
        QTRY_VERIFY(model.serverConfig().has_value());
        QCOMPARE(bool(visibleButton(&view, QStringLiteral("Continue with Google"))), google);
        QCOMPARE(bool(visibleButton(&view, QStringLiteral("Email code"))), email);
        QVERIFY(visibleButton(&view, QStringLiteral("Password")));
        QVERIFY(visibleButton(&view, QStringLiteral("Pairing code")));
        QVERIFY2(unnamedControls(&view).isEmpty(), qPrintable(unnamedControls(&view).join(", ")));
    }

    void typingEnablesTheButtons()
    {
        SignInModel model(m_browser);
        model.setServer(QStringLiteral("http://127.0.0.1:1"));
        SignInView view(model);
        view.show();
        QAbstractButton* signIn = visibleButton(&view, QStringLiteral("Sign in"));
        QVERIFY(!signIn->isEnabled());
        QTest::keyClicks(fieldNamed(&view, QStringLiteral("Email")), QStringLiteral("ada@example.com"));
        QVERIFY(!signIn->isEnabled());
        QTest::keyClicks(fieldNamed(&view, QStringLiteral("Password")), QStringLiteral("pw"));
        QVERIFY(signIn->isEnabled());
        QCOMPARE(model.email(), QStringLiteral("ada@example.com"));

        visibleButton(&view, QStringLiteral("Pairing code"))->click();
        QCOMPARE(model.mode(), SignInModel::Mode::Pairing);
        QAbstractButton* pair = visibleButton(&view, QStringLiteral("Pair this computer"));
        QVERIFY(pair);
        QVERIFY(!pair->isEnabled());
        QTest::keyClicks(fieldNamed(&view, QStringLiteral("Pairing code")), QStringLiteral(" ABCD2345"));
        QVERIFY(pair->isEnabled());
    }

    void theEmailCodeStepsAndTheMessage()
    {
        ScriptedServer service;
        service.enqueue(WindowReplies::signInOptions(false, true));
        service.enqueue(WindowReplies::json("{\"purpose\":\"verify\"}"));
        service.enqueue(WindowReplies::refusal(400, "That code is not right."));
        SignInModel model(m_browser);
        model.setServer(service.url().toString());
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
        QVERIFY(!visibleButton(&view, QStringLiteral("Email me a code")));
        QTest::keyClicks(fieldNamed(&view, QStringLiteral("6-digit code from the email")),
                         QStringLiteral("123456"));
        visibleButton(&view, QStringLiteral("Sign in"))->click();
        auto* message = view.findChild<QLabel*>(QStringLiteral("message"));
        QTRY_VERIFY(message->isVisibleTo(&view));
        QCOMPARE(message->text(), QStringLiteral("That code is not right."));
        QCOMPARE(message->palette().color(QPalette::WindowText), Theme::destructive());
    }

    void theInviteBox()
    {
        SignInModel model(m_browser);
        model.setServer(QStringLiteral("http://127.0.0.1:1"));
        SignInView view(model);
        view.show();
        QVERIFY(!fieldNamed(&view, QStringLiteral("Invite code")));
        model.google();
        m_browser.answer(QUrl(QStringLiteral("morvik://auth?need=invite&ticket=T1")));
        QTRY_VERIFY(fieldNamed(&view, QStringLiteral("Invite code")));
        QAbstractButton* create = visibleButton(&view, QStringLiteral("Create account"));
        QVERIFY(!create->isEnabled());
        QTest::keyClicks(fieldNamed(&view, QStringLiteral("Invite code")), QStringLiteral("MRV-1"));
        QVERIFY(create->isEnabled());
    }

    void closingTheWindowGivesUpTheBrowser()
    {
        SignInModel model(m_browser);
        SignInView view(model);
        view.show();
        const int before = m_browser.cancels;
        view.close();
        QCOMPARE(m_browser.cancels, before + 1);
    }

    void theServerField()
    {
        SignInModel model(m_browser);
        SignInView view(model);
        view.show();
        QLineEdit* server = view.findChildren<QLineEdit*>().last();
        QCOMPARE(server->placeholderText(), QStringLiteral("http://127.0.0.1:8080"));
        QVERIFY(!server->isVisibleTo(&view));
        visibleButton(&view, QStringLiteral("Server"))->click();
        QVERIFY(server->isVisibleTo(&view));
        server->clear();
        QTest::keyClicks(server, QStringLiteral("http://other"));
        QCOMPARE(model.server(), QStringLiteral("http://other"));
    }

private:
    QTemporaryDir m_home;
    FakeWebAuthSession m_browser;
};

QTEST_MAIN(SignInViewTest)
#include "tst_signinview.moc"
