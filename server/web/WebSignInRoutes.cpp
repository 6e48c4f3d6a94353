#include "WebSignInRoutes.h"

#include "Accounts.h"
#include "Log.h"
#include "Secrets.h"
#include "SessionReply.h"
#include "WebForm.h"
#include "WebSessions.h"

#include <httplib.h>

namespace {

constexpr qint64 signInCookieLifetime = 3600;
} // namespace

using SessionReply::client;
using SessionReply::duration;

WebSignInRoutes::WebSignInRoutes(Accounts& accounts, WebSessions& sessions, bool googleStandIn)
    : m_accounts(accounts), m_sessions(sessions), m_googleStandIn(googleStandIn)
{}

void WebSignInRoutes::install(httplib::Server& server)
{
    using Request = httplib::Request;
    using Response = httplib::Response;
    server.Get("/signin", [this](const Request& request, Response& response) { page(request, response); });
    server.Post("/signin/password",
                [this](const Request& request, Response& response) { password(request, response); });
    server.Post("/signin/code",
                [this](const Request& request, Response& response) { sendCode(request, response); });
    server.Post("/signin/code/verify",
                [this](const Request& request, Response& response) { verifyCode(request, response); });
    if (m_googleStandIn) {
        server.Get("/signin/google",
                   [this](const Request& request, Response& response) { googlePage(request, response); });
        server.Post("/signin/google",
                    [this](const Request& request, Response& response) { google(request, response); });
    }
}

QString WebSignInRoutes::browserName(const QString& userAgent)
{
    const auto has = [&](const char* word) { return userAgent.contains(QLatin1String(word)); };
    // Order matters: Edge names Chrome, Chrome names Safari.
    const QString browser = has("Firefox/")    ? QStringLiteral("Firefox")
                            : has("Edg/")      ? QStringLiteral("Edge")
                            : has("Chromium/") ? QStringLiteral("Chromium")
                            : has("Chrome/")   ? QStringLiteral("Chrome")
                            : has("Safari/")   ? QStringLiteral("Safari")
                                               : QStringLiteral("Web browser");
    const QString system = has("Android")                 ? QStringLiteral("Android")
                           : has("iPhone") || has("iPad") ? QStringLiteral("iOS")
                           : has("Windows")               ? QStringLiteral("Windows")
                           : has("Mac OS X")              ? QStringLiteral("macOS")
                           : has("CrOS")                  ? QStringLiteral("ChromeOS")
                           : has("Linux")                 ? QStringLiteral("Linux")
                                                          : QString();
    return system.isEmpty() ? browser : QStringLiteral("%1 on %2").arg(browser, system);
}

void WebSignInRoutes::page(const httplib::Request& request, httplib::Response& response)
{
    if (const auto session = m_sessions.find(WebForm::cookie(request, WebForm::sessionCookie))) {
        if (m_accounts.store.authenticate(session->token)) {
            WebForm::redirect(response, QStringLiteral("/app"));
            return;
        }
    }
    WebForm::html(response, 200, WebPage::signIn(form(request, response, {}, {})));
}

void WebSignInRoutes::password(const httplib::Request& request, httplib::Response& response)
{
    const auto fields = checkedForm(request, response);
    if (!fields)
        return;
    const QString email = AccountStore::normalized(fields->value(QStringLiteral("email")));
    if (const auto wait = m_accounts.limits.logIn(client(request), email)) {
        tooMany(request, response, email, QStringLiteral("Too many sign-in attempts"), *wait);
        return;
    }
    const auto outcome =
        m_accounts.store.login(email, fields->value(QStringLiteral("password")), device(request));
    if (std::holds_alternative<AccountStore::SignedIn>(outcome))
        m_accounts.limits.loggedIn(client(request), email);
    finish(request, response, outcome, email);
}

void WebSignInRoutes::sendCode(const httplib::Request& request, httplib::Response& response)
{
    const auto fields = checkedForm(request, response);
    if (!fields)
        return;
    const QString email = AccountStore::normalized(fields->value(QStringLiteral("email")));
    if (!SessionReply::looksLikeEmail(email)) {
        refuse(request, response, 400, email, QStringLiteral("Enter a valid e-mail address."));
        return;
    }
    if (const auto wait = m_accounts.limits.sendCode(client(request), email)) {
        tooMany(request, response, email, QStringLiteral("Too many codes were asked for"), *wait);
        return;
    }
    // As in the API: the page reads the same whether or not the address has an account.
    const bool known = m_accounts.store.hasAccount(email);
    if (known || m_accounts.store.openSignup()) {
        const QString purpose = known ? QStringLiteral("login") : QStringLiteral("verify");
        const QString code = m_accounts.emailCodes.issue(email, purpose, Accounts::emailCodeLifetime);
        if (const std::optional<QString> problem = m_accounts.mailbox.deliver(email, code, purpose)) {
            refuse(request, response, 500, email, *problem);
            return;
        }
    } else {
        Log::line(QStringLiteral("mail not sent: no account for %1").arg(email));
    }
    WebForm::html(response, 200, WebPage::enterCode(form(request, response, email, {})));
}

void WebSignInRoutes::verifyCode(const httplib::Request& request, httplib::Response& response)
{
    const auto fields = checkedForm(request, response);
    if (!fields)
        return;
    const QString email = AccountStore::normalized(fields->value(QStringLiteral("email")));
    if (const auto wait = m_accounts.limits.guessCode(client(request), email)) {
        WebForm::html(response, 429,
                      WebPage::enterCode(form(
                          request, response, email,
                          QStringLiteral("Too many wrong codes; try again in %1.").arg(duration(*wait)))));
        response.set_header("Retry-After", std::to_string(wait->count()));
        return;
    }
    const auto entry = m_accounts.emailCodes.takeFor(email, fields->value(QStringLiteral("code")).trimmed());
    if (!entry) {
        WebForm::html(response, 400,
                      WebPage::enterCode(
                          form(request, response, email,
                               QStringLiteral("That code is wrong or has expired; ask for a new one."))));
        return;
    }
    if (entry->note == QLatin1String("verify") && !m_accounts.store.hasAccount(email)) {
        if (const std::optional<AccountStore::Refusal> refused = m_accounts.store.createAccount(email)) {
            refuse(request, response, refused->status, email, refused->message);
            return;
        }
    }
    finish(request, response, m_accounts.store.signIn(email, device(request)), email);
}

void WebSignInRoutes::googlePage(const httplib::Request& request, httplib::Response& response)
{
    WebForm::html(response, 200, WebPage::googleStandIn(form(request, response, {}, {})));
}

void WebSignInRoutes::google(const httplib::Request& request, httplib::Response& response)
{
    const auto fields = checkedForm(request, response);
    if (!fields)
        return;
    const QString email = AccountStore::normalized(fields->value(QStringLiteral("email")));
    std::optional<QString> problem;
    if (!SessionReply::looksLikeEmail(email))
        problem = QStringLiteral("Enter a valid e-mail address.");
    else if (!m_accounts.store.hasAccount(email) && !m_accounts.store.openSignup())
        problem = QStringLiteral("No account has this address; sign up from the Tavrin app with an invite.");
    else if (!m_accounts.store.hasAccount(email)) {
        if (const std::optional<AccountStore::Refusal> refused = m_accounts.store.createAccount(email))
            problem = refused->message;
    }
    if (problem) {
        WebForm::html(response, 400, WebPage::googleStandIn(form(request, response, email, *problem)));
        return;
    }
    finish(request, response, m_accounts.store.signIn(email, device(request)), email);
}

std::optional<QHash<QString, QString>> WebSignInRoutes::checkedForm(const httplib::Request& request,
                                                                    httplib::Response& response)
{
    QHash<QString, QString> fields = WebForm::fields(request);
    if (!WebForm::sameSite(request, fields.value(QStringLiteral("csrf")),
                           WebForm::cookie(request, WebForm::signInCookie))) {
        WebForm::html(
            response, 403,
            WebPage::message(QStringLiteral("Sign-in refused"),
                             QStringLiteral("This form came from another site or has expired. Open the "
                                            "sign-in page again and retry."),
                             QStringLiteral("/signin"), QStringLiteral("Back to sign-in")));
        return std::nullopt;
    }
    return fields;
}

QString WebSignInRoutes::formToken(const httplib::Request& request, httplib::Response& response)
{
    QString token = WebForm::cookie(request, WebForm::signInCookie);
    if (token.isEmpty()) {
        token = Secrets::ticket();
        WebForm::setCookie(response, request, WebForm::signInCookie, token, signInCookieLifetime);
    }
    return token;
}

WebPage::SignIn WebSignInRoutes::form(const httplib::Request& request, httplib::Response& response,
                                      const QString& email, const QString& error)
{
    return {formToken(request, response), email, error, m_googleStandIn};
}

void WebSignInRoutes::refuse(const httplib::Request& request, httplib::Response& response, int status,
                             const QString& email, const QString& error)
{
    WebForm::html(response, status, WebPage::signIn(form(request, response, email, error)));
}

void WebSignInRoutes::tooMany(const httplib::Request& request, httplib::Response& response,
                              const QString& email, const QString& what, std::chrono::seconds wait)
{
    refuse(request, response, 429, email, QStringLiteral("%1; try again in %2.").arg(what, duration(wait)));
    response.set_header("Retry-After", std::to_string(wait.count()));
}

void WebSignInRoutes::finish(const httplib::Request& request, httplib::Response& response,
                             const AccountStore::Outcome<AccountStore::SignedIn>& outcome,
                             const QString& email)
{
    if (const auto* refused = std::get_if<AccountStore::Refusal>(&outcome)) {
        refuse(request, response, refused->status, email, refused->message);
        return;
    }
    const WebSessions::Session session = m_sessions.begin(std::get<AccountStore::SignedIn>(outcome).token);
    WebForm::setCookie(response, request, WebForm::sessionCookie, session.id, WebSessions::lifetime.count());
    WebForm::setCookie(response, request, WebForm::signInCookie, {}, 0);
    WebForm::redirect(response, QStringLiteral("/app"));
}

AccountStore::DeviceFields WebSignInRoutes::device(const httplib::Request& request) const
{
    return {browserName(QString::fromStdString(request.get_header_value("User-Agent")).left(512)),
            QStringLiteral("web"), QStringLiteral("web")};
}
