#pragma once

#include "AccountStore.h"
#include "WebSessions.h"

struct Accounts;
class AskHistory;

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

// The signed-in pages: /app with the account, its devices, a pairing code and the history, and the
// forms that change them. A browser without a live session is sent to sign in.
class WebAppRoutes
{
public:
    WebAppRoutes(Accounts& accounts, WebSessions& sessions, AskHistory* history, Clock clock);

    void install(httplib::Server& server);

private:
    struct SignedIn
    {
        WebSessions::Session session;
        AccountStore::Caller caller;
    };
    using Action = void (WebAppRoutes::*)(const SignedIn&, const httplib::Request&, httplib::Response&);

    void page(const SignedIn& who, const httplib::Request& request, httplib::Response& response);
    void signOut(const SignedIn& who, const httplib::Request& request, httplib::Response& response);
    void revoke(const SignedIn& who, const httplib::Request& request, httplib::Response& response);
    void newPairingCode(const SignedIn& who, const httplib::Request& request, httplib::Response& response);
    void deleteAsk(const SignedIn& who, const httplib::Request& request, httplib::Response& response);
    void deleteAll(const SignedIn& who, const httplib::Request& request, httplib::Response& response);

    // The browser's session, or nothing after sending it to sign in.
    std::optional<SignedIn> signedIn(const httplib::Request& request, httplib::Response& response);
    // Runs a form's action once the session and the form's origin are checked.
    void post(const httplib::Request& request, httplib::Response& response, Action action);
    void endSession(const SignedIn& who, const httplib::Request& request, httplib::Response& response);
    bool historyOff(httplib::Response& response) const;

    Accounts& m_accounts;
    WebSessions& m_sessions;
    AskHistory* m_history; // none: history is off
    Clock m_clock;
};
