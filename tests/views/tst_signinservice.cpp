#include "RunningService.h"
#include "WindowFakes.h"
#include "app/BrowserSignIn.h"
#include "views/SignInModel.h"

#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>

using namespace std::chrono_literals;

namespace {

const QString ana = QStringLiteral("ana@example.com");
const QString anaPassword = QStringLiteral("correct horse");

} // namespace

// Every way into the window against the reference service, running in this process.
class SignInServiceTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(m_dir.filePath(QStringLiteral("config.json"))));
        // Each service stops only once its keep-alive connections time out, so the tests share two.
        m_service = std::make_unique<RunningService>(options(false));
        m_openService = std::make_unique<RunningService>(options(true));
    }
    void init()
    {
        AgentConfig::remove();
        QFile::remove(mailbox());
    }

    void emailedCode_data()
    {
        QTest::addColumn<QString>("email");
        QTest::addColumn<bool>("openSignup");
        QTest::addColumn<bool>("verify");
        QTest::newRow("existing account") << ana << false << false;
        QTest::newRow("new account") << "new@example.com" << true << true;
    }
    void emailedCode()
    {
        QFETCH(QString, email);
        QFETCH(bool, openSignup);
        QFETCH(bool, verify);

        RunningService& running = openSignup ? *m_openService : *m_service;
        SignInModel model(m_web);
        model.setServer(running.url(QString()));
        QTRY_VERIFY(model.offersEmailCode());
        model.setMode(SignInModel::Mode::Code);
        model.setEmail(email);
        model.sendCode();
        QTRY_VERIFY(model.codeSent());
        QCOMPARE(model.verifyCode(), verify);
        model.setCode(lastMailedCode());
        QSignalSpy signedIn(&model, &SignInModel::signedIn);
        model.submitCode(model.verifyCode());
        QVERIFY2(signedIn.wait(), qPrintable(model.message()));
        QCOMPARE(AgentConfig::load()->email, email);
    }

    void googleWithAndWithoutAccount_data()
    {
        QTest::addColumn<QString>("email");
        QTest::addColumn<bool>("needsInvite");
        QTest::newRow("known address") << ana << false;
        QTest::newRow("new address") << "gus@example.com" << true;
    }
    void googleWithAndWithoutAccount()
    {
        QFETCH(QString, email);
        QFETCH(bool, needsInvite);

        QUrl opened;
        BrowserSignIn browser(
            [&](const QUrl& url) {
                opened = url;
                return true;
            },
            60s);
        SignInModel model(browser);
        model.setServer(m_service->url(QString()));
        QTRY_VERIFY(model.offersGoogle());
        QSignalSpy signedIn(&model, &SignInModel::signedIn);
        model.google();
        const QString state = QUrlQuery(opened).queryItemValue(QStringLiteral("state"));
        QVERIFY(!state.isEmpty());

        // The test stands in for the browser: it loads the start page and submits its consent form.
        ServiceClient client;
        const Exchange page = client.get(opened.toString());
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.contains("name=\"state\" value=\"" + state.toUtf8() + "\""));
        QUrl consent = opened.resolved(QUrl(QStringLiteral("consent")));
        QUrlQuery form;
        form.addQueryItem(QStringLiteral("email"), email);
        form.addQueryItem(QStringLiteral("state"), state);
        consent.setQuery(form);
        const QUrl callback(QString::fromUtf8(client.get(consent.toString()).location));
        QCOMPARE(callback.scheme(), QStringLiteral("morvik"));
        QVERIFY(browser.deliver(callback));

        if (needsInvite) {
            QTRY_VERIFY(model.needsInvite());
            model.setInvite(m_invites.takeFirst());
            model.completeSocial();
        }
        QVERIFY2(signedIn.wait(), qPrintable(model.message()));
        QCOMPARE(AgentConfig::load()->email, email);
    }

private:
    QString mailbox() const { return m_dir.filePath(QStringLiteral("mailbox")); }

    ServiceOptions options(bool openSignup) const
    {
        ServiceOptions base;
        base.openSignup = openSignup;
        base.googleStandIn = true;
        base.wordDelay = 0ms;
        base.seed.accounts = {{ana, anaPassword, {}, {}}};
        base.seed.invites = m_invites;
        base.mailboxPath = mailbox();
        return base;
    }

    QString lastMailedCode() const
    {
        QFile file(mailbox());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const QString last = QString::fromUtf8(file.readAll()).trimmed().split(QLatin1Char('\n')).last();
        return QRegularExpression(QStringLiteral("code=(\\d{6})")).match(last).captured(1);
    }

    QTemporaryDir m_dir;
    FakeWebAuthSession m_web;
    QStringList m_invites{QStringLiteral("MRV-ABCD-EFGH"), QStringLiteral("MRV-IJKL-MNOP")};
    std::unique_ptr<RunningService> m_service;
    std::unique_ptr<RunningService> m_openService;
};

QTEST_GUILESS_MAIN(SignInServiceTest)
#include "tst_signinservice.moc"
