#pragma once

#include "AccountStore.h"
#include "WebPage.h"

struct Accounts;
class WebSessions;

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

// Signing a browser in: by password, by e-mailed code, or through the Google stand-in when the operator
// turned it on. The same limits on guessing as the account API apply, counted in the same buckets.
class WebSignInRoutes
{
public:
    WebSignInRoutes(Accounts& accounts, WebSessions& sessions, bool googleStandIn);

    void install(httplib::Server& server);

    // The name under which a browser is listed among the account's devices, like "Firefox on Linux".
    static QString browserName(const QString& userAgent);

private:
    void page(const httplib::Request& request, httplib::Response& response);
    void password(const httplib::Request& request, httplib::Response& response);
    void sendCode(const httplib::Request& request, httplib::Response& response);
    void verifyCode(const httplib::Request& request, httplib::Response& response);
    void googlePage(const httplib::Request& request, httplib::Response& response);
    void google(const httplib::Request& request, httplib::Response& response);

    // The form's fields when it came from our own sign-in page, or nothing after answering 403.
    std::optional<QHash<QString, QString>> checkedForm(const httplib::Request& request,
                                                       httplib::Response& response);
    // The page's form token: the browser's sign-in cookie, set here when it has none.
    QString formToken(const httplib::Request& request, httplib::Response& response);
    WebPage::SignIn form(const httplib::Request& request, httplib::Response& response, const QString& email,
                         const QString& error);
    void refuse(const httplib::Request& request, httplib::Response& response, int status,
                const QString& email, const QString& error);
    void tooMany(const httplib::Request& request, httplib::Response& response, const QString& email,
                 const QString& what, std::chrono::seconds wait);
    // Starts the browser's session for a signed-in device, or shows why there is none.
    void finish(const httplib::Request& request, httplib::Response& response,
                const AccountStore::Outcome<AccountStore::SignedIn>& outcome, const QString& email);
    AccountStore::DeviceFields device(const httplib::Request& request) const;

    Accounts& m_accounts;
    WebSessions& m_sessions;
    bool m_googleStandIn;
};
