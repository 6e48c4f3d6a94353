#include "GoogleSignInRoutes.h"

#include "Accounts.h"
#include "JsonReply.h"
#include "SessionReply.h"

#include <QUrl>
#include <QUrlQuery>
#include <httplib.h>

namespace {

// The state the agent put in the start address goes through the form and back to its callback, so the
// agent can tell its own sign-in from one that someone else started.
QString page(const QString& state)
{
    const QString stateField = state.isEmpty()
                                   ? QString()
                                   : QStringLiteral("<input type=\"hidden\" name=\"state\" value=\"%1\">\n")
                                         .arg(state.toHtmlEscaped());
    return QStringLiteral(
               "<!doctype html>\n"
               "<html lang=\"en\"><head><meta charset=\"utf-8\"><title>Sign in with Google "
               "(stand-in)</title>\n"
               "<style>body{font:16px system-ui,sans-serif;max-width:26em;margin:4em auto;padding:0 1em}\n"
               "input{font:inherit;width:100%;box-sizing:border-box;padding:.5em;margin:.5em 0}\n"
               "button{font:inherit;padding:.5em 1em}</style></head>\n"
               "<body><h1>Sign in with Google</h1>\n"
               "<p>This is the reference service's development stand-in for Google: no Google account is "
               "involved. Pick the address this sign-in should prove.</p>\n"
               "<form method=\"get\" action=\"consent\">\n%1"
               "<input type=\"email\" name=\"email\" placeholder=\"you@example.com\" required "
               "autofocus>\n"
               "<button type=\"submit\">Continue</button>\n"
               "<button type=\"submit\" name=\"cancel\" value=\"1\" formnovalidate>Cancel</button>\n"
               "</form>\n"
               "</body></html>\n")
        .arg(stateField);
}

QString parameter(const httplib::Request& request, const char* name)
{
    return QString::fromStdString(request.get_param_value(name));
}

// The agent's callback: morvik://auth with the outcome in the query, and the agent's state unchanged.
void redirect(httplib::Response& response, const httplib::Request& request,
              const QList<std::pair<QString, QString>>& items)
{
    // Encoded here, so that a "&" or "=" inside a value stays part of it.
    const auto encoded = [](const QString& value) {
        return QString::fromLatin1(QUrl::toPercentEncoding(value));
    };
    QUrlQuery query;
    for (const auto& [key, value] : items)
        query.addQueryItem(key, encoded(value));
    if (request.has_param("state"))
        query.addQueryItem(QStringLiteral("state"), encoded(parameter(request, "state")));
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
    server.Get("/auth/google/start",
               [](const Request& request, Response& response) { consentPage(request, response); });
    server.Get("/auth/google/consent",
               [this](const Request& request, Response& response) { consent(request, response); });
    server.Post("/auth/social/complete", [this](const Request& request, Response& response) {
        completeWithInvite(request, response);
    });
}

void GoogleSignInRoutes::consentPage(const httplib::Request& request, httplib::Response& response)
{
    response.set_content(page(parameter(request, "state")).toStdString(), "text/html; charset=utf-8");
}

void GoogleSignInRoutes::consent(const httplib::Request& request, httplib::Response& response)
{
    if (request.has_param("cancel")) {
        redirect(response, request,
                 {{QStringLiteral("error"), QStringLiteral("Google sign-in was cancelled.")}});
        return;
    }
    const QString email = AccountStore::normalized(parameter(request, "email"));
    if (!SessionReply::looksLikeEmail(email)) {
        redirect(response, request,
                 {{QStringLiteral("error"), QStringLiteral("Google gave no usable e-mail address.")}});
        return;
    }
    // A known address, or a new one where anyone may sign up, goes straight in with a one-time code
    // that the agent redeems like a pairing code; a new address otherwise waits for an invite.
    if (m_accounts.store.hasAccount(email) || m_accounts.store.openSignup()) {
        if (!m_accounts.store.hasAccount(email)) {
            if (const std::optional<AccountStore::Refusal> refused = m_accounts.store.createAccount(email)) {
                redirect(response, request, {{QStringLiteral("error"), refused->message}});
                return;
            }
        }
        const QString code =
            m_accounts.pairingCodes.issue(email, QStringLiteral("google"), m_accounts.pairingLifetime);
        redirect(response, request,
                 {{QStringLiteral("status"), QStringLiteral("ok")}, {QStringLiteral("code"), code}});
        return;
    }
    const QString ticket =
        m_accounts.tickets.issue(email, QStringLiteral("invite"), Accounts::ticketLifetime);
    redirect(response, request,
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
    // The ticket stays usable after a mistyped invite, a few times, and is spent once the account exists.
    if (std::holds_alternative<AccountStore::SignedIn>(outcome))
        m_accounts.tickets.take(ticket);
    else
        m_accounts.tickets.strike(ticket, Accounts::invitesPerTicket);
    SessionReply::session(response, outcome);
}
