#pragma once

#include "Clock.h"
#include "ServiceOptions.h"

#include <QString>
#include <memory>
#include <optional>

class AccountRoutes;
class AnswerEngine;
class AskAccess;
class AskHistory;
class AskRoute;
class BrowserPages;
class GoogleSignInRoutes;
class HttpServer;
struct Accounts;

// The whole service put together from its options: engine, accounts, access rules, routes and the
// HTTP server.
class TavrinService
{
public:
    explicit TavrinService(const ServiceOptions& options, const Clock& clock = systemClock());
    ~TavrinService();
    TavrinService(const TavrinService&) = delete;
    TavrinService& operator=(const TavrinService&) = delete;

    // Loads the accounts and opens the listening socket: nothing, or why it cannot start. Then url()
    // is where it listens.
    std::optional<QString> bind();
    QString url() const { return m_url; }
    void run();
    void stop();

    const AskRoute& asks() const { return *m_askRoute; }

private:
    std::optional<QString> loadAccounts();

    ServiceOptions m_options;
    QString m_url;
    std::unique_ptr<AnswerEngine> m_engine;
    std::unique_ptr<Accounts> m_accounts;  // none in shared-token mode
    std::unique_ptr<AskHistory> m_history; // none unless asked for
    std::unique_ptr<AskAccess> m_askAccess;
    std::unique_ptr<AskRoute> m_askRoute;
    std::unique_ptr<AccountRoutes> m_accountRoutes;
    std::unique_ptr<GoogleSignInRoutes> m_googleRoutes;
    std::unique_ptr<BrowserPages> m_browserPages;
    // Last, so that it stops serving before anything its routes use goes away.
    std::unique_ptr<HttpServer> m_http;
};
