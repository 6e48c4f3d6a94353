#include "GoogleSignInRoutes.h"

#include "Accounts.h"
#include "JsonReply.h"
#include "SessionReply.h"

#include <QUrl>
#include <QUrlQuery>
#include <httplib.h>

namespace {

const char page[] = R"(<!doctype html>
<html lang="en"><head><meta charset="utf-8"><title>Sign in with Google (stand-in)</title>
<style>body{font:16px system-ui,sans-serif;max-width:26em;margin:4em auto;padding:0 1em}
input{font:inherit;width:100%;box-sizing:border-box;padding:.5em;margin:.5em 0}
button{font:inherit;padding:.5em 1em}</style></head>
<body><h1>Sign in with Google</h1>
<p>This is the reference service's stand-in for Google: no Google account is involved. Pick the
address this sign-in should prove.</p>
<form method="get" action="consent">
<input type="email" name="email" placeholder="you@example.com" required autofocus>
<button type="submit">Continue</button>
</form>
<p><a href="consent?cancel=1">Cancel</a></p>
</body></html>
)";

// The agent's callback: morvik://auth with the outcome in the query.
void redirect(httplib::Response& response, const QList<std::pair<QString, QString>>& items)
{
    QUrlQuery query;
    for (const auto& [key, value] : items)
        query.addQueryItem(key, value);
    QUrl callback;
    callback.setScheme(QStringLiteral("morvik"));
    callback.setHost(QStringLiteral("auth"));
    callback.setQuery(query);
    response.set_redirect(callback.toString(QUrl::FullyEncoded).toStdString());
}

} // namespace

GoogleSignInRoutes::GoogleSignInRoutes(Accounts& accounts) : m_accounts(accounts) {}

void GoogleSignInRoutes::install(httplib::Server& server)
{
    using Request = httplib::Request;
    using Response = httplib::Response;
    server.Get("/auth/google/start", [](const Request&, Response& response) { consentPage(response); });
    server.Get("/auth/google/consent",
               [this](const Request& request, Response& response) { consent(request, response); });
    server.Post("/auth/social/complete", [this](const Request& request, Response& response) {
        completeWithInvite(request, response);
    });
}

void GoogleSignInRoutes::consentPage(httplib::Response& response)
{
    response.set_content(page, "text/html; charset=utf-8");
}

void GoogleSignInRoutes::consent(const httplib::Request& request, httplib::Response& response)
{
    if (request.has_param("cancel")) {
        redirect(response, {{QStringLiteral("error"), QStringLiteral("Google sign-in was cancelled.")}});
        return;
    }
    const QString email = AccountStore::normalized(QString::fromStdString(request.get_param_value("email")));
    if (!SessionReply::looksLikeEmail(email)) {
        redirect(response,
                 {{QStringLiteral("error"), QStringLiteral("Google gave no usable e-mail address.")}});
        return;
    }
    // A known address, or a new one where anyone may sign up, goes straight in with a one-time code
    // that the agent redeems like a pairing code; a new address otherwise waits for an invite.
    if (m_accounts.store.hasAccount(email) || m_accounts.store.openSignup()) {
        if (!m_accounts.store.hasAccount(email)) {
            if (const std::optional<AccountStore::Refusal> refused = m_accounts.store.createAccount(email)) {
                redirect(response, {{QStringLiteral("error"), refused->message}});
                return;
            }
        }
        const QString code =
            m_accounts.pairingCodes.issue(email, QStringLiteral("google"), m_accounts.pairingLifetime);
        redirect(response,
                 {{QStringLiteral("status"), QStringLiteral("ok")}, {QStringLiteral("code"), code}});
        return;
    }
    const QString ticket =
        m_accounts.tickets.issue(email, QStringLiteral("invite"), Accounts::ticketLifetime);
    redirect(response,
             {{QStringLiteral("need"), QStringLiteral("invite")}, {QStringLiteral("ticket"), ticket}});
}

void GoogleSignInRoutes::completeWithInvite(const httplib::Request& request, httplib::Response& response)
{
    const std::optional<QJsonObject> body = JsonReply::readObject(request, response);
    if (!body)
        return;
    const QString ticket = body->value(QStringLiteral("ticket")).toString();
    const std::optional<ExpiringCodes::Entry> entry = m_accounts.tickets.find(ticket);
    if (!entry) {
        JsonReply::error(response, 400,
                         QStringLiteral("This sign-in has expired; continue with Google again."));
        return;
    }
    const auto outcome = m_accounts.store.signUpWithInvite(
        entry->subject, body->value(QStringLiteral("invite")).toString(), SessionReply::deviceFields(*body));
    // The ticket stays usable after a mistyped invite, and is spent once the account exists.
    if (std::holds_alternative<AccountStore::SignedIn>(outcome))
        m_accounts.tickets.take(ticket);
    SessionReply::session(response, outcome);
}
