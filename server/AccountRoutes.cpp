#include "AccountRoutes.h"

#include "Accounts.h"
#include "JsonReply.h"
#include "Log.h"
#include "SessionReply.h"

#include <QJsonArray>
#include <httplib.h>

namespace {

const QString purposeLogin = QStringLiteral("login");
const QString purposeVerify = QStringLiteral("verify");

QString text(const QJsonObject& body, const char* key)
{
    return body.value(QLatin1String(key)).toString();
}

// 429 with the time to wait, in the header for programs and in the sentence for people.
void tooMany(httplib::Response& response, const QString& what, std::chrono::seconds wait)
{
    JsonReply::error(response, 429,
                     QStringLiteral("%1; try again in %2.").arg(what, SessionReply::duration(wait)));
    response.set_header("Retry-After", std::to_string(wait.count()));
}

} // namespace

using SessionReply::client;

AccountRoutes::AccountRoutes(Accounts& accounts, bool googleOffered)
    : m_accounts(accounts), m_googleOffered(googleOffered)
{}

void AccountRoutes::install(httplib::Server& server)
{
    using Request = httplib::Request;
    using Response = httplib::Response;
    server.Get("/auth/config", [this](const Request&, Response& response) { config(response); });
    server.Post("/auth/code",
                [this](const Request& request, Response& response) { sendCode(request, response); });
    server.Post("/auth/code/verify",
                [this](const Request& request, Response& response) { verifyCode(request, response, false); });
    server.Post("/auth/verify",
                [this](const Request& request, Response& response) { verifyCode(request, response, true); });
    server.Post("/auth/login",
                [this](const Request& request, Response& response) { login(request, response); });
    server.Post("/auth/pair",
                [this](const Request& request, Response& response) { pair(request, response); });
    server.Get("/v1/me", [this](const Request& request, Response& response) {
        if (const auto who = caller(request, response))
            me(*who, response);
    });
    // The agent posts here with no body and no Content-Length. The library would wait for a body until
    // its read time-out and answer 400, so this route reads a body only when one is announced.
    server.Post("/v1/pairing",
                [this](const Request& request, Response& response, const httplib::ContentReader& content) {
                    if (request.has_header("Content-Length") || request.has_header("Transfer-Encoding"))
                        content([](const char*, std::size_t) { return true; });
                    if (const auto who = caller(request, response))
                        newPairingCode(*who, request, response);
                });
    server.Get("/v1/devices", [this](const Request& request, Response& response) {
        if (const auto who = caller(request, response))
            devices(*who, response);
    });
    server.Delete(R"(/v1/devices/(\d+))", [this](const Request& request, Response& response) {
        if (const auto who = caller(request, response))
            revoke(*who, request, response);
    });
}

void AccountRoutes::config(httplib::Response& response) const
{
    JsonReply::object(response, 200,
                      {{QStringLiteral("google"), m_googleOffered},
                       {QStringLiteral("apple_web"), false},
                       {QStringLiteral("email"), true},
                       {QStringLiteral("invite_only"), !m_accounts.store.openSignup()}});
}

void AccountRoutes::sendCode(const httplib::Request& request, httplib::Response& response)
{
    const std::optional<QJsonObject> body = JsonReply::readObject(request, response);
    if (!body)
        return;
    const QString email = AccountStore::normalized(text(*body, "email"));
    if (!SessionReply::looksLikeEmail(email)) {
        JsonReply::error(response, 400, QStringLiteral("Enter a valid e-mail address."));
        return;
    }
    if (const auto wait = m_accounts.limits.sendCode(client(request), email)) {
        tooMany(response, QStringLiteral("Too many codes were asked for"), *wait);
        return;
    }
    const bool known = m_accounts.store.hasAccount(email);
    const QString purpose = known || !m_accounts.store.openSignup() ? purposeLogin : purposeVerify;
    // An address without an account gets the same answer as one with an account, so that the answer
    // does not tell strangers who has one; no code is sent, so none can be used.
    if (known || m_accounts.store.openSignup()) {
        const QString code = m_accounts.emailCodes.issue(email, purpose, Accounts::emailCodeLifetime);
        if (const std::optional<QString> problem = m_accounts.mailbox.deliver(email, code, purpose)) {
            JsonReply::error(response, 500, *problem);
            return;
        }
    } else {
        Log::line(QStringLiteral("mail not sent: no account for %1").arg(email));
    }
    JsonReply::object(
        response, 200,
        {{QStringLiteral("purpose"), purpose},
         {QStringLiteral("expires_in"), static_cast<int>(Accounts::emailCodeLifetime.count())}});
}

void AccountRoutes::verifyCode(const httplib::Request& request, httplib::Response& response, bool mayCreate)
{
    const std::optional<QJsonObject> body = JsonReply::readObject(request, response);
    if (!body)
        return;
    const QString email = AccountStore::normalized(text(*body, "email"));
    // Every try is counted before the code is looked at, so that parallel guesses are counted too; a
    // right code costs a try like a wrong one, and a new code does not give tries back.
    if (const auto wait = m_accounts.limits.guessCode(client(request), email)) {
        tooMany(response, QStringLiteral("Too many wrong codes"), *wait);
        return;
    }
    const auto entry = m_accounts.emailCodes.takeFor(email, text(*body, "code").trimmed());
    if (!entry) {
        JsonReply::error(response, 400,
                         QStringLiteral("That code is wrong or has expired; ask for a new one."));
        return;
    }
    // Only a code sent for an address without an account may create one, and only through auth/verify.
    if (mayCreate && entry->note == purposeVerify && !m_accounts.store.hasAccount(email)) {
        if (const std::optional<AccountStore::Refusal> refused = m_accounts.store.createAccount(email)) {
            SessionReply::refusal(response, *refused);
            return;
        }
    }
    SessionReply::session(response, m_accounts.store.signIn(email, SessionReply::deviceFields(*body)));
}

void AccountRoutes::login(const httplib::Request& request, httplib::Response& response)
{
    const std::optional<QJsonObject> body = JsonReply::readObject(request, response);
    if (!body)
        return;
    const QString email = AccountStore::normalized(text(*body, "email"));
    if (const auto wait = m_accounts.limits.logIn(client(request), email)) {
        tooMany(response, QStringLiteral("Too many sign-in attempts"), *wait);
        return;
    }
    const auto outcome =
        m_accounts.store.login(email, text(*body, "password"), SessionReply::deviceFields(*body));
    if (std::holds_alternative<AccountStore::SignedIn>(outcome))
        m_accounts.limits.loggedIn(client(request), email);
    SessionReply::session(response, outcome);
}

void AccountRoutes::pair(const httplib::Request& request, httplib::Response& response)
{
    const std::optional<QJsonObject> body = JsonReply::readObject(request, response);
    if (!body)
        return;
    if (const auto wait = m_accounts.limits.pairingGuessesPerClient.take(client(request))) {
        tooMany(response, QStringLiteral("Too many pairing codes were tried"), *wait);
        return;
    }
    const QString code =
        text(*body, "code").remove(QLatin1Char(' ')).remove(QLatin1Char('-')).trimmed().toUpper();
    const auto entry = m_accounts.pairingCodes.take(code);
    if (!entry) {
        JsonReply::error(response, 400, QStringLiteral("That pairing code is wrong or has expired."));
        return;
    }
    SessionReply::session(response,
                          m_accounts.store.signIn(entry->subject, SessionReply::deviceFields(*body)));
}

void AccountRoutes::me(const AccountStore::Caller& caller, httplib::Response& response)
{
    const std::optional<AccountStore::User> user = m_accounts.store.user(caller.email);
    if (!user) {
        JsonReply::error(response, 401, QStringLiteral("unauthorized"));
        return;
    }
    JsonReply::object(response, 200, {{QStringLiteral("user"), SessionReply::user(*user)}});
}

void AccountRoutes::newPairingCode(const AccountStore::Caller& caller, const httplib::Request& request,
                                   httplib::Response& response)
{
    const QString code =
        m_accounts.pairingCodes.issue(caller.email, QStringLiteral("pair"), m_accounts.pairingLifetime);
    JsonReply::object(
        response, 200,
        {{QStringLiteral("code"), code},
         {QStringLiteral("deep_link"),
          SessionReply::pairingLink(
              QStringLiteral("http://") + QString::fromStdString(request.get_header_value("Host")), code)},
         {QStringLiteral("expires_in"), static_cast<int>(m_accounts.pairingLifetime.count())}});
}

void AccountRoutes::devices(const AccountStore::Caller& caller, httplib::Response& response)
{
    QJsonArray list;
    for (const AccountState::Device& device : m_accounts.store.devices(caller.email)) {
        list.append(QJsonObject{{QStringLiteral("id"), device.id},
                                {QStringLiteral("name"), device.name},
                                {QStringLiteral("client"), device.client},
                                {QStringLiteral("platform"), device.platform},
                                {QStringLiteral("created"), device.created.toUTC().toString(Qt::ISODate)}});
    }
    JsonReply::object(response, 200,
                      {{QStringLiteral("current"), caller.device}, {QStringLiteral("devices"), list}});
}

void AccountRoutes::revoke(const AccountStore::Caller& caller, const httplib::Request& request,
                           httplib::Response& response)
{
    bool ok = false;
    const int device = QString::fromStdString(request.matches[1].str()).toInt(&ok);
    const AccountStore::Outcome<int> outcome =
        ok ? m_accounts.store.revoke(caller, device)
           : AccountStore::Outcome<int>(AccountStore::Refusal{404, QStringLiteral("No such device.")});
    if (const auto* refused = std::get_if<AccountStore::Refusal>(&outcome)) {
        SessionReply::refusal(response, *refused);
        return;
    }
    JsonReply::object(response, 200, {{QStringLiteral("revoked"), std::get<int>(outcome)}});
}

std::optional<AccountStore::Caller> AccountRoutes::caller(const httplib::Request& request,
                                                          httplib::Response& response)
{
    std::optional<AccountStore::Caller> who = m_accounts.store.authenticate(JsonReply::bearerToken(request));
    if (!who)
        JsonReply::error(response, 401, QStringLiteral("unauthorized"));
    return who;
}
