#include "WebAppRoutes.h"

#include "Accounts.h"
#include "AskHistory.h"
#include "Log.h"
#include "QrSvg.h"
#include "SessionReply.h"
#include "WebForm.h"
#include "WebPage.h"

#include <QUrl>
#include <httplib.h>

namespace {

qint64 number(const httplib::Request& request)
{
    bool ok = false;
    const qint64 value = QString::fromStdString(request.matches[1].str()).toLongLong(&ok);
    return ok ? value : 0;
}

void notFound(httplib::Response& response, const QString& text)
{
    WebForm::html(response, 404,
                  WebPage::message(QStringLiteral("Not found"), text, QStringLiteral("/app"),
                                   QStringLiteral("Back to settings")));
}

void historyFailed(httplib::Response& response, const Error& error)
{
    Log::line(QStringLiteral("history could not be changed: %1").arg(error.message));
    WebForm::html(
        response, 500,
        WebPage::message(QStringLiteral("Nothing was deleted"),
                         QStringLiteral("Your history could not be changed just now. Try again in a "
                                        "moment; if this goes on, tell the person who runs this "
                                        "service."),
                         QStringLiteral("/app#history"), QStringLiteral("Back to settings")));
}

} // namespace

WebAppRoutes::WebAppRoutes(Accounts& accounts, WebSessions& sessions, AskHistory* history, Clock clock)
    : m_accounts(accounts), m_sessions(sessions), m_history(history), m_clock(std::move(clock))
{}

void WebAppRoutes::install(httplib::Server& server)
{
    using Request = httplib::Request;
    using Response = httplib::Response;
    server.Get(
        "/", [](const Request&, Response& response) { WebForm::redirect(response, QStringLiteral("/app")); });
    server.Get("/app", [this](const Request& request, Response& response) {
        if (const auto who = signedIn(request, response))
            page(*who, request, response);
    });
    const auto form = [this, &server](const char* path, Action action) {
        server.Post(path, [this, action](const Request& request, Response& response) {
            post(request, response, action);
        });
    };
    form("/signout", &WebAppRoutes::signOut);
    form(R"(/app/devices/(\d{1,9})/revoke)", &WebAppRoutes::revoke);
    form("/app/pairing", &WebAppRoutes::newPairingCode);
    form(R"(/app/history/(\d{1,18})/delete)", &WebAppRoutes::deleteAsk);
    form("/app/history/delete-all", &WebAppRoutes::deleteAll);
}

void WebAppRoutes::page(const SignedIn& who, const httplib::Request& request, httplib::Response& response)
{
    const QString email = who.caller.email;
    const std::optional<AccountStore::User> user = m_accounts.store.user(email);
    WebPage::App view;
    view.formToken = who.session.formToken;
    view.email = email;
    view.plan = user ? user->plan : QString();
    view.asksToday = m_accounts.store.asksToday(email);
    view.dailyLimit = m_accounts.store.dailyLimit();
    for (const AccountState::Device& device : m_accounts.store.devices(email))
        view.devices.append({device.id, device.name, device.client, device.platform, device.created,
                             device.lastUsed, device.id == who.caller.device});
    if (!who.session.pairingCode.isEmpty()) {
        const QString code = who.session.pairingCode;
        view.pairing =
            WebPage::Pairing{code,
                             QrSvg::encode(SessionReply::pairingLink(WebForm::origin(request), code),
                                           QStringLiteral("QR code of the pairing code")),
                             std::max<qint64>(0, m_clock().secsTo(who.session.pairingExpires))};
    }
    view.historyKept = m_history != nullptr;
    if (m_history) {
        view.retentionDays = static_cast<int>(m_history->retention().count());
        view.query = QString::fromStdString(request.get_param_value("q")).left(200);
        const Result<QList<AskHistory::Entry>> entries =
            m_history->entries(email, view.query, WebPage::App::mostShown);
        if (!entries.ok()) {
            Log::line(QStringLiteral("history could not be read: %1").arg(entries.error().message));
            view.historyUnreadable = true;
        } else {
            view.asks = entries.value();
        }
    }
    WebForm::html(response, 200, WebPage::app(view));
}

void WebAppRoutes::signOut(const SignedIn& who, const httplib::Request& request, httplib::Response& response)
{
    m_accounts.store.revoke(who.caller, who.caller.device);
    endSession(who, request, response);
}

void WebAppRoutes::revoke(const SignedIn& who, const httplib::Request& request, httplib::Response& response)
{
    const auto device = static_cast<int>(number(request));
    if (std::holds_alternative<AccountStore::Refusal>(m_accounts.store.revoke(who.caller, device))) {
        notFound(response, QStringLiteral("That device is not signed in to your account."));
        return;
    }
    if (device == who.caller.device) {
        endSession(who, request, response);
        return;
    }
    WebForm::redirect(response, QStringLiteral("/app#devices"));
}

void WebAppRoutes::newPairingCode(const SignedIn& who, const httplib::Request&, httplib::Response& response)
{
    const QString code =
        m_accounts.pairingCodes.issue(who.caller.email, QStringLiteral("pair"), m_accounts.pairingLifetime);
    m_sessions.setPairing(who.session.id, code, m_accounts.pairingLifetime);
    WebForm::redirect(response, QStringLiteral("/app#pairing"));
}

void WebAppRoutes::deleteAsk(const SignedIn& who, const httplib::Request& request,
                             httplib::Response& response)
{
    if (historyOff(response))
        return;
    const Result<bool> removed = m_history->remove(who.caller.email, number(request));
    if (!removed.ok()) {
        historyFailed(response, removed.error());
        return;
    }
    if (!removed.value()) {
        notFound(response, QStringLiteral("That ask is not in your history."));
        return;
    }
    // Back to the same search, so that deleting several results does not lose it.
    const QString words = WebForm::fields(request).value(QStringLiteral("q")).left(200);
    WebForm::redirect(
        response,
        words.isEmpty()
            ? QStringLiteral("/app#history")
            : QStringLiteral("/app?q=%1#history").arg(QString::fromLatin1(QUrl::toPercentEncoding(words))));
}

void WebAppRoutes::deleteAll(const SignedIn& who, const httplib::Request&, httplib::Response& response)
{
    if (historyOff(response))
        return;
    const Result<void> removed = m_history->removeAll(who.caller.email);
    if (!removed.ok()) {
        historyFailed(response, removed.error());
        return;
    }
    WebForm::redirect(response, QStringLiteral("/app#history"));
}

std::optional<WebAppRoutes::SignedIn> WebAppRoutes::signedIn(const httplib::Request& request,
                                                             httplib::Response& response)
{
    if (const auto session = m_sessions.find(WebForm::cookie(request, WebForm::sessionCookie))) {
        if (const auto caller = m_accounts.store.authenticate(session->token))
            return SignedIn{*session, *caller};
        // Its device was signed out elsewhere: the browser is out too.
        m_sessions.end(session->id);
    }
    WebForm::redirect(response, QStringLiteral("/signin"));
    return std::nullopt;
}

void WebAppRoutes::post(const httplib::Request& request, httplib::Response& response, Action action)
{
    const auto who = signedIn(request, response);
    if (!who)
        return;
    if (!WebForm::sameSite(request, WebForm::fields(request).value(QStringLiteral("csrf")),
                           who->session.formToken)) {
        WebForm::html(response, 403,
                      WebPage::message(QStringLiteral("Request refused"),
                                       QStringLiteral("This form came from another site or an old page, so "
                                                      "nothing was changed. Reload the page and try again."),
                                       QStringLiteral("/app"), QStringLiteral("Back to settings")));
        return;
    }
    (this->*action)(*who, request, response);
}

void WebAppRoutes::endSession(const SignedIn& who, const httplib::Request& request,
                              httplib::Response& response)
{
    m_sessions.end(who.session.id);
    WebForm::setCookie(response, request, WebForm::sessionCookie, {}, 0);
    WebForm::redirect(response, QStringLiteral("/signin"));
}

bool WebAppRoutes::historyOff(httplib::Response& response) const
{
    if (m_history)
        return false;
    notFound(response, QStringLiteral("History is off on this service."));
    return true;
}
