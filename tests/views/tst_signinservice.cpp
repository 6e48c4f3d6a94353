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

// What the browser was asked to open.
struct Opened
{
    QList<QUrl> urls;

    BrowserSignIn::Opener opener()
    {
        return [this](const QUrl& url) {
            urls.append(url);
            return true;
        };
    }
    QString state() const { return QUrlQuery(urls.last()).queryItemValue(QStringLiteral("state")); }
};

// The one answer a sign-in received, if any.
struct Answer
{
    std::optional<Result<QUrl>> result;
    WebAuthSession::CallbackHandler handler()
    {
        return [this](const Result<QUrl>& r) { result = r; };
    }
};

} // namespace

// The browser sign-in on its own, then the window's model signing in by an e-mailed code and by Google
// against the reference service, running in this process.
class SignInServiceTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(m_dir.filePath(QStringLiteral("config.json"))));
        // The service stops only once its keep-alive connections time out, so the tests share one.
        m_service = std::make_unique<RunningService>(options());
    }
    void init()
    {
        AgentConfig::remove();
        QFile::remove(mailbox());
    }

    void onlyThePendingStateIsTaken_data()
    {
        QTest::addColumn<QString>("callback");
        QTest::addColumn<bool>("taken");

        QTest::newRow("right state") << "morvik://auth?status=ok&code=C&state=%1" << true;
        QTest::newRow("wrong state") << "morvik://auth?status=ok&code=C&state=%1x" << false;
        QTest::newRow("other scheme") << "https://auth?status=ok&code=C&state=%1" << false;
    }
    void onlyThePendingStateIsTaken()
    {
        QFETCH(QString, callback);
        QFETCH(bool, taken);

        Opened opened;
        BrowserSignIn browser(opened.opener(), 10s);
        QObject context;
        Answer answer;
        browser.authenticate(QUrl(QStringLiteral("http://s/auth/google/start")), &context, answer.handler());
        const QUrl delivered(callback.contains(QLatin1String("%1")) ? callback.arg(opened.state())
                                                                    : callback);
        QCOMPARE(browser.deliver(delivered), taken);
        QCOMPARE(browser.isPending(), !taken);
        if (taken) {
            QTRY_VERIFY(answer.result.has_value());
            QCOMPARE(answer.result->value(), delivered);
            // The same callback a second time finds nothing pending.
            QVERIFY(!browser.deliver(delivered));
        } else {
            QVERIFY(!QTest::qWaitFor([&] { return answer.result.has_value(); }, 50));
        }
    }

    void emailedCode()
    {
        SignInModel model(m_web);
        model.setServer(m_service->url(QString()));
        QTRY_VERIFY(model.offersEmailCode());
        model.setMode(SignInModel::Mode::Code);
        model.setEmail(ana);
        model.sendCode();
        QTRY_VERIFY(model.codeSent());
        QVERIFY(!model.verifyCode());
        model.setCode(lastMailedCode());
        QSignalSpy signedIn(&model, &SignInModel::signedIn);
        model.submitCode(false);
        QVERIFY2(signedIn.wait(), qPrintable(model.message()));
        QCOMPARE(AgentConfig::load()->email, ana);
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

        Opened opened;
        BrowserSignIn browser(opened.opener(), 60s);
        SignInModel model(browser);
        model.setServer(m_service->url(QString()));
        QTRY_VERIFY(model.offersGoogle());
        QSignalSpy signedIn(&model, &SignInModel::signedIn);
        model.google();
        const QString state = opened.state();
        QVERIFY(!state.isEmpty());

        // The test stands in for the browser: it loads the start page and submits its consent form.
        ServiceClient client;
        const Exchange page = client.get(opened.urls.last().toString());
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.contains("name=\"state\" value=\"" + state.toUtf8() + "\""));
        QUrl consent = opened.urls.last().resolved(QUrl(QStringLiteral("consent")));
        QUrlQuery form;
        form.addQueryItem(QStringLiteral("email"), email);
        form.addQueryItem(QStringLiteral("state"), state);
        consent.setQuery(form);
        const QUrl answer(QString::fromUtf8(client.get(consent.toString()).location));
        QCOMPARE(answer.scheme(), QStringLiteral("morvik"));
        QVERIFY(browser.deliver(answer));

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

    ServiceOptions options() const
    {
        ServiceOptions base;
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
};

QTEST_GUILESS_MAIN(SignInServiceTest)
#include "tst_signinservice.moc"
