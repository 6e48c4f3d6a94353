#pragma once

#include "Clock.h"

#include <memory>

struct Accounts;
class AskHistory;
class WebAppRoutes;
class WebSessions;
class WebSignInRoutes;

namespace httplib {
class Server;
}

// The service's pages for people in a browser, put together: sign-in, settings and history, and the
// files they use.
class BrowserPages
{
public:
    BrowserPages(Accounts& accounts, AskHistory* history, bool googleStandIn, const Clock& clock);
    ~BrowserPages();
    BrowserPages(const BrowserPages&) = delete;
    BrowserPages& operator=(const BrowserPages&) = delete;

    void install(httplib::Server& server);
    // For a service with a shared token only: the pages say there is no account to show.
    static void installWithoutAccounts(httplib::Server& server);

private:
    std::unique_ptr<WebSessions> m_sessions;
    std::unique_ptr<WebSignInRoutes> m_signIn;
    std::unique_ptr<WebAppRoutes> m_app;
};
