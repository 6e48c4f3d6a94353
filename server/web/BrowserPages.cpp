#include "BrowserPages.h"

#include "Accounts.h"
#include "WebAppRoutes.h"
#include "WebAssets.h"
#include "WebForm.h"
#include "WebPage.h"
#include "WebSessions.h"
#include "WebSignInRoutes.h"

#include <httplib.h>

BrowserPages::BrowserPages(Accounts& accounts, AskHistory* history, bool googleStandIn, const Clock& clock)
    : m_sessions(std::make_unique<WebSessions>(clock,
                                               [&accounts](const QString& token) {
                                                   // A browser session that ran out takes its device with it.
                                                   if (const auto caller = accounts.store.authenticate(token))
                                                       accounts.store.revoke(*caller, caller->device);
                                               })),
      m_signIn(std::make_unique<WebSignInRoutes>(accounts, *m_sessions, googleStandIn)),
      m_app(std::make_unique<WebAppRoutes>(accounts, *m_sessions, history, clock))
{}

BrowserPages::~BrowserPages() = default;

void BrowserPages::install(httplib::Server& server)
{
    WebAssets::install(server);
    m_signIn->install(server);
    m_app->install(server);
}

void BrowserPages::installWithoutAccounts(httplib::Server& server)
{
    WebAssets::install(server);
    const auto noAccounts = [](const httplib::Request&, httplib::Response& response) {
        WebForm::html(
            response, 404,
            WebPage::message(QStringLiteral("No accounts here"),
                             QStringLiteral("This Tavrin service is used with a shared token only, so it "
                                            "has no accounts, devices or history to show."),
                             {}, {}));
    };
    for (const char* path : {"/", "/app", "/signin"})
        server.Get(path, noAccounts);
}
