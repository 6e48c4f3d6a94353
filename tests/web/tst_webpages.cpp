#include "RunningService.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>

namespace {

const QString ana = QStringLiteral("ana@example.com");
const QString anaPassword = QStringLiteral("correct horse");
const QString bo = QStringLiteral("bo@example.com");
const QString boPassword = QStringLiteral("battery staple");

using Page = Exchange;
using Headers = QList<std::pair<QByteArray, QByteArray>>;

// The hidden form token of a page's forms.
QString formToken(const Page& page)
{
    static const QRegularExpression field(QStringLiteral("name=\"csrf\" value=\"([^\"]+)\""));
    return field.match(page.text()).captured(1);
}

// A browser as far as the pages care: it keeps cookies, sends forms and says where a form came from.
class FormBrowser
{
public:
    explicit FormBrowser(QString origin) : m_origin(std::move(origin)) {}

    Page get(const QString& url, const Headers& headers = {})
    {
        return keep(m_client.get(request(url, headers)));
    }
    Page post(const QString& url, const QUrlQuery& form, const Headers& headers = {}, bool withOrigin = true)
    {
        QNetworkRequest r = request(url, headers);
        r.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/x-www-form-urlencoded"));
        if (withOrigin && !r.hasRawHeader("Origin"))
            r.setRawHeader("Origin", m_origin.toUtf8());
        return keep(m_client.post(r, form.toString(QUrl::FullyEncoded).toUtf8()));
    }
    QString cookie(const QByteArray& name) const { return m_cookies.value(name); }
    void forget() { m_cookies.clear(); }

private:
    QNetworkRequest request(const QString& url, const Headers& headers) const
    {
        QNetworkRequest r = ServiceClient::request(url, {});
        r.setHeader(QNetworkRequest::ContentTypeHeader, QVariant());
        r.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
        r.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
        QStringList cookies;
        for (auto it = m_cookies.cbegin(); it != m_cookies.cend(); ++it)
            cookies.append(QString::fromUtf8(it.key()) + QLatin1Char('=') + it.value());
        if (!cookies.isEmpty())
            r.setRawHeader("Cookie", cookies.join(QStringLiteral("; ")).toUtf8());
        for (const auto& [name, value] : headers)
            r.setRawHeader(name, value);
        return r;
    }

    Page keep(Page page)
    {
        if (page.status == 0)
            qFatal("no answer from the service");
        for (const QByteArray& line : std::as_const(page.setCookies)) {
            const QByteArray pair = line.split(';').constFirst();
            const qsizetype equals = pair.indexOf('=');
            if (line.contains("Max-Age=0"))
                m_cookies.remove(pair.left(equals));
            else
                m_cookies.insert(pair.left(equals), QString::fromUtf8(pair.mid(equals + 1)));
        }
        return page;
    }

    QString m_origin;
    ServiceClient m_client;
    QHash<QByteArray, QString> m_cookies;
};

QUrlQuery form(const QList<std::pair<QString, QString>>& fields)
{
    QUrlQuery query;
    for (const auto& [key, value] : fields)
        query.addQueryItem(key, QString::fromLatin1(QUrl::toPercentEncoding(value)));
    return query;
}

} // namespace

// The browser pages: who gets in, what a cross-site request can do, sessions and history.
class TestWebPages : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    FakeClock m_time;
    std::unique_ptr<RunningService> m_running;
    ServiceClient m_api;
    std::unique_ptr<FormBrowser> m_browser;

    ServiceOptions options(bool history) const
    {
        ServiceOptions base;
        base.wordDelay = std::chrono::milliseconds(0);
        base.seed.accounts = {{ana, anaPassword, "pro", "user"}, {bo, boPassword, {}, {}}};
        if (history)
            base.historyPath =
                m_dir.filePath(QStringLiteral("history-%1.db").arg(QTest::currentTestFunction()));
        return base;
    }

    void start(const ServiceOptions& options)
    {
        m_browser.reset();
        m_running.reset();
        m_running = std::make_unique<RunningService>(options, m_time.clock());
        m_browser = std::make_unique<FormBrowser>(m_running->service().url());
    }
    QString url(const QString& path) const { return m_running->url(path); }

    // Signs the browser in with a password through the sign-in page, as a person would.
    Page signInBrowser(const QString& email = ana, const QString& password = anaPassword,
                       const Headers& headers = {})
    {
        const Page signIn = m_browser->get(url("signin"), headers);
        return m_browser->post(url("signin/password"),
                               form({{"csrf", formToken(signIn)}, {"email", email}, {"password", password}}),
                               headers);
    }

    // A desktop agent signed in through the API: its token.
    QString signInAgent(const QString& name, const QString& email = ana,
                        const QString& password = anaPassword)
    {
        return m_api
            .post(url("auth/login"), {{"email", email},
                                      {"password", password},
                                      {"client", "app"},
                                      {"platform", "mac"},
                                      {"name", name}})
            .json()["token"]
            .toString();
    }

    int deviceId(const QString& token)
    {
        return m_api.get(url("v1/devices"), token).json()["current"].toInt();
    }

    void ask(const QString& token, const QString& text, const QString& app)
    {
        const Exchange answer = m_api.post(url("v1/ask"), {{"text", text}, {"app", app}}, token);
        QCOMPARE(answer.status, 200);
        QVERIFY(answer.body.contains("event: done"));
    }

    Page app(const QString& query = {})
    {
        return m_browser->get(url(query.isEmpty()
                                      ? QStringLiteral("app")
                                      : QStringLiteral("app?q=") + QUrl::toPercentEncoding(query)));
    }

    // Sends one of the signed-in page's forms with the page's own token.
    Page action(const QString& path, QList<std::pair<QString, QString>> fields = {})
    {
        fields.append({QStringLiteral("csrf"), formToken(app())});
        return m_browser->post(url(path), form(fields));
    }

private slots:
    void signInSetsAStrictSessionCookie_data()
    {
        QTest::addColumn<bool>("https");
        QTest::newRow("plain http") << false;
        QTest::newRow("https through a proxy") << true;
    }
    void signInSetsAStrictSessionCookie()
    {
        QFETCH(bool, https);
        start(options(false));
        // A proxy in front that speaks https and passes its own address as Host.
        const Headers proxy = https ? Headers{{"X-Forwarded-Proto", "https"},
                                              {"X-Forwarded-Host", "tavrin.example.com"},
                                              {"Origin", "https://tavrin.example.com"}}
                                    : Headers{};
        const Page signedIn = signInBrowser(ana, anaPassword, proxy);
        QCOMPARE(signedIn.status, 303);
        QCOMPARE(signedIn.location, QByteArray("/app"));
        const auto session =
            std::find_if(signedIn.setCookies.cbegin(), signedIn.setCookies.cend(),
                         [](const QByteArray& c) { return c.startsWith("tavrin_session="); });
        QVERIFY(session != signedIn.setCookies.cend());
        QVERIFY(session->contains("; HttpOnly"));
        QVERIFY(session->contains("; SameSite=Strict"));
        QVERIFY(session->contains("; Max-Age=28800"));
        QCOMPARE(session->contains("; Secure"), https);
        // The cookie holds a session id, never the device token the API would accept.
        QCOMPARE(m_api.get(url("v1/me"), m_browser->cookie("tavrin_session")).status, 401);

        const Page settings = app();
        QCOMPARE(settings.status, 200);
        QVERIFY(settings.text().contains(ana));
        QVERIFY(settings.text().contains(QStringLiteral("This browser")));
        QVERIFY(settings.policy.contains("script-src 'self'"));
        QVERIFY(settings.policy.contains("frame-ancestors 'none'"));
        QVERIFY(!settings.policy.contains("unsafe-inline"));
        QCOMPARE(settings.contentTypeOptions, QByteArray("nosniff"));
        // Every script is a file of ours: none inline, none from elsewhere.
        QVERIFY(!settings.text().contains(QRegularExpression(QStringLiteral("<script(?![^>]*src=\"/web/)"))));
        QCOMPARE(m_browser->get(url("signin")).location, QByteArray("/app"));
    }

    void crossSiteFormsChangeNothing_data()
    {
        QTest::addColumn<QByteArray>("origin");
        QTest::addColumn<QByteArray>("fetchSite");
        QTest::addColumn<bool>("withToken");
        QTest::newRow("another site") << QByteArray("http://evil.example") << QByteArray() << true;
        QTest::newRow("no origin, cross-site fetch") << QByteArray() << QByteArray("cross-site") << true;
        QTest::newRow("own origin, no form token") << QByteArray("same") << QByteArray() << false;
    }
    void crossSiteFormsChangeNothing()
    {
        QFETCH(QByteArray, origin);
        QFETCH(QByteArray, fetchSite);
        QFETCH(bool, withToken);
        start(options(true));
        const QString agent = signInAgent(QStringLiteral("Work laptop"));
        QCOMPARE(signInBrowser().status, 303);
        const QString token = withToken ? formToken(app()) : QString();
        Headers headers;
        if (origin == "same")
            origin = m_running->service().url().toUtf8();
        if (!origin.isEmpty())
            headers.append({"Origin", origin});
        if (!fetchSite.isEmpty())
            headers.append({"Sec-Fetch-Site", fetchSite});
        // Every form of the signed-in page takes the same check; signing a device out is the costliest.
        const QString revoke = QStringLiteral("app/devices/%1/revoke").arg(deviceId(agent));
        QCOMPARE(m_browser->post(url(revoke), form({{"csrf", token}}), headers, false).status, 403);
        QCOMPARE(m_api.get(url("v1/me"), agent).status, 200);

        // Nor can another site sign a browser in to an account of its choosing.
        m_browser->forget();
        const Page signIn = m_browser->get(url("signin"));
        const QString signInToken = withToken ? formToken(signIn) : QString();
        QCOMPARE(m_browser
                     ->post(url("signin/password"),
                            form({{"csrf", signInToken}, {"email", bo}, {"password", boPassword}}), headers,
                            false)
                     .status,
                 403);
        QVERIFY(m_browser->cookie("tavrin_session").isEmpty());
    }

    void passwordGuessesAreLimitedLikeTheApi()
    {
        start(options(false));
        int status = 0;
        for (int attempt = 0; attempt < 12 && status != 429; ++attempt)
            status = signInBrowser(ana, QStringLiteral("wrong %1").arg(attempt)).status;
        QCOMPARE(status, 429);
        // The same account is held off through the API too: one limit, whichever door is tried.
        QCOMPARE(m_api.post(url("auth/login"), {{"email", ana}, {"password", anaPassword}}).status, 429);
    }

    void browserSessionsEnd_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("sign out") << "sign out";
        QTest::newRow("its device signed out from another browser") << "revoked elsewhere";
        QTest::newRow("lifetime over") << "expired";
    }
    void browserSessionsEnd()
    {
        QFETCH(QString, how);
        start(options(false));
        const QString agent = signInAgent(QStringLiteral("Work laptop"));
        QCOMPARE(signInBrowser().status, 303);
        const auto browserDevice = [&] {
            for (const QJsonValue device : m_api.get(url("v1/devices"), agent).json()["devices"].toArray()) {
                if (device["client"].toString() == QLatin1String("web"))
                    return device["id"].toInt();
            }
            return 0;
        };
        const int device = browserDevice();
        QVERIFY(device != 0);
        if (how == QLatin1String("sign out")) {
            const Page out = action(QStringLiteral("signout"));
            QCOMPARE(out.location, QByteArray("/signin"));
            QVERIFY(out.setCookies.constFirst().contains("Max-Age=0"));
        } else if (how == QLatin1String("revoked elsewhere")) {
            QCOMPARE(m_api.remove(url(QStringLiteral("v1/devices/%1").arg(device)), agent).status, 200);
        } else {
            m_time.advance(std::chrono::hours(8) + std::chrono::seconds(1));
        }
        QCOMPARE(app().status, 303);
        QCOMPARE(browserDevice(), 0);
    }

    // Searching and deleting one entry are walked in a real browser (browser_test.py); here: whose
    // history a page shows, and search words the search syntax would misread.
    void historyIsTheAccountsOwn()
    {
        start(options(true));
        ask(signInAgent(QStringLiteral("Work laptop")), QStringLiteral("make it shorter"),
            QStringLiteral("Mousepad"));
        ask(signInAgent(QStringLiteral("Bo's laptop"), bo, boPassword), QStringLiteral("Bo's secret plan"),
            QStringLiteral("Notes"));
        QCOMPARE(signInBrowser().status, 303);
        const QString page = app().text();
        QVERIFY(page.contains(QStringLiteral("make it shorter")));
        QVERIFY(!page.contains(QStringLiteral("secret plan")));
        QCOMPARE(app(QStringLiteral("\"NEAR( OR *")).status, 200);

        QCOMPARE(action(QStringLiteral("app/history/delete-all")).status, 303);
        QVERIFY(!app().text().contains(QStringLiteral("make it shorter")));
        m_browser->forget();
        QCOMPARE(signInBrowser(bo, boPassword).status, 303);
        QVERIFY(app().text().contains(QStringLiteral("secret plan")));
    }

    void historyIsKeptForTheRetentionPeriod()
    {
        ServiceOptions shortHistory = options(true);
        shortHistory.historyRetention = std::chrono::days(2);
        start(shortHistory);
        const QString agent = signInAgent(QStringLiteral("Work laptop"));
        ask(agent, QStringLiteral("old request"), QStringLiteral("Mousepad"));
        m_time.advance(std::chrono::hours(36));
        ask(agent, QStringLiteral("new request"), QStringLiteral("Mousepad"));
        m_time.advance(std::chrono::hours(13));
        QCOMPARE(signInBrowser().status, 303);
        const QString page = app().text();
        QVERIFY(!page.contains(QStringLiteral("old request")));
        QVERIFY(page.contains(QStringLiteral("new request")));
        QVERIFY(page.contains(QStringLiteral("kept for 2 days")));
    }

    void cleanup()
    {
        m_browser.reset();
        m_running.reset();
    }
};

QTEST_GUILESS_MAIN(TestWebPages)
#include "tst_webpages.moc"
