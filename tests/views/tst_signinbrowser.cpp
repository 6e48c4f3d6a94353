#include "app/BrowserSignIn.h"

#include <QTest>
#include <QUrlQuery>

using namespace std::chrono_literals;

namespace {

// What the browser was asked to open.
struct Opened
{
    QList<QUrl> urls;
    bool works = true;

    BrowserSignIn::Opener opener()
    {
        return [this](const QUrl& url) {
            urls.append(url);
            return works;
        };
    }
    QString state() const { return QUrlQuery(urls.last()).queryItemValue(QStringLiteral("state")); }
};

QUrl callback(const QString& query)
{
    return QUrl(QStringLiteral("morvik://auth?") + query);
}

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

class SignInBrowserTest : public QObject
{
    Q_OBJECT

private slots:
    void theStartAddressCarriesAFreshState()
    {
        Opened opened;
        BrowserSignIn browser(opened.opener(), 10s);
        QObject context;
        Answer first;
        browser.authenticate(QUrl(QStringLiteral("http://127.0.0.1:8080/auth/google/start?client=app")),
                             &context, first.handler());
        const QUrl start = opened.urls.last();
        QCOMPARE(start.path(), QStringLiteral("/auth/google/start"));
        QCOMPARE(QUrlQuery(start).queryItemValue(QStringLiteral("client")), QStringLiteral("app"));
        const QString state = opened.state();
        QVERIFY(state.size() >= 40);
        QCOMPARE(QUrl::toPercentEncoding(state), state.toLatin1());

        Answer second;
        browser.authenticate(start, &context, second.handler());
        QVERIFY(opened.state() != state);
        // Starting again ends the first wait as cancelled.
        QTRY_VERIFY(first.result.has_value());
        QVERIFY(first.result->error().isCancellation());
    }

    void onlyThePendingStateIsTaken_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<bool>("schemeRight");
        QTest::addColumn<bool>("taken");

        QTest::newRow("right state") << "status=ok&code=C&state=%1" << true << true;
        QTest::newRow("wrong state") << "status=ok&code=C&state=%1x" << true << false;
        QTest::newRow("no state") << "status=ok&code=C" << true << false;
        QTest::newRow("empty state") << "status=ok&code=C&state=" << true << false;
        QTest::newRow("other scheme") << "status=ok&code=C&state=%1" << false << false;
    }
    void onlyThePendingStateIsTaken()
    {
        QFETCH(QString, query);
        QFETCH(bool, schemeRight);
        QFETCH(bool, taken);

        Opened opened;
        BrowserSignIn browser(opened.opener(), 10s);
        QObject context;
        Answer answer;
        browser.authenticate(QUrl(QStringLiteral("http://s/auth/google/start")), &context, answer.handler());
        QUrl delivered = callback(query.contains(QLatin1String("%1")) ? query.arg(opened.state()) : query);
        if (!schemeRight)
            delivered.setScheme(QStringLiteral("https"));
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

    void theWaitEnds_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("cancelled");
        QTest::addColumn<QString>("message");

        QTest::newRow("time limit") << "limit" << false
                                    << "The browser did not come back in time. Continue with Google again.";
        QTest::newRow("no browser") << "no browser" << false << "No web browser could be opened.";
        QTest::newRow("cancel") << "cancel" << true << "cancelled";
    }
    void theWaitEnds()
    {
        QFETCH(QString, how);
        QFETCH(bool, cancelled);
        QFETCH(QString, message);

        Opened opened;
        opened.works = how != QLatin1String("no browser");
        BrowserSignIn browser(opened.opener(), how == QLatin1String("limit") ? 20ms : 10s);
        QObject context;
        Answer answer;
        browser.authenticate(QUrl(QStringLiteral("http://s/auth/google/start")), &context, answer.handler());
        if (how == QLatin1String("cancel"))
            browser.cancel();
        QTRY_VERIFY(answer.result.has_value());
        QCOMPARE(answer.result->error().isCancellation(), cancelled);
        QCOMPARE(answer.result->error().message, message);
        QVERIFY(!browser.isPending());
        QVERIFY(!browser.deliver(callback(QStringLiteral("state=") + opened.state())));
    }
};

QTEST_GUILESS_MAIN(SignInBrowserTest)
#include "tst_signinbrowser.moc"
