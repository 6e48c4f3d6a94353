#include "TavrinService.h"

#include "AccountRoutes.h"
#include "Accounts.h"
#include "AskAccess.h"
#include "AskHistory.h"
#include "AskRoute.h"
#include "BrowserPages.h"
#include "EngineChoice.h"
#include "GoogleSignInRoutes.h"
#include "HttpServer.h"
#include "Log.h"

TavrinService::TavrinService(const ServiceOptions& options, const Clock& clock)
    : m_options(options), m_engine(EngineChoice::make(options)),
      m_http(std::make_unique<HttpServer>(options.connections))
{
    if (options.hasAccounts()) {
        m_accounts = std::make_unique<Accounts>(
            AccountStore::Settings{options.statePath, options.dailyLimit, options.openSignup,
                                   options.deviceExpiry, options.passwordRounds},
            options.mailboxPath, options.pairingLifetime, clock);
        m_accountRoutes = std::make_unique<AccountRoutes>(*m_accounts, options.googleStandIn);
        m_accountRoutes->install(m_http->routes());
        if (options.googleStandIn) {
            m_googleRoutes = std::make_unique<GoogleSignInRoutes>(*m_accounts);
            m_googleRoutes->install(m_http->routes());
        }
        if (!options.historyPath.isEmpty())
            m_history = std::make_unique<AskHistory>(options.historyPath, options.historyRetention, clock);
        m_browserPages =
            std::make_unique<BrowserPages>(*m_accounts, m_history.get(), options.googleStandIn, clock);
        m_browserPages->install(m_http->routes());
    } else {
        BrowserPages::installWithoutAccounts(m_http->routes());
    }
    m_askAccess = std::make_unique<AskAccess>(options.token, m_accounts ? &m_accounts->store : nullptr);
    m_askRoute = std::make_unique<AskRoute>(*m_engine, *m_askAccess, m_history.get());
    m_askRoute->install(m_http->routes());
}

TavrinService::~TavrinService() = default;

std::optional<QString> TavrinService::bind()
{
    if (std::optional<QString> problem = loadAccounts())
        return problem;
    if (m_history) {
        if (std::optional<QString> problem = m_history->open())
            return problem;
    }
    const std::variant<int, QString> bound = m_http->bind(m_options.host, m_options.port);
    if (const QString* problem = std::get_if<QString>(&bound))
        return *problem;
    m_url = HttpServer::url(m_options.host, std::get<int>(bound));
    return std::nullopt;
}

std::optional<QString> TavrinService::loadAccounts()
{
    if (!m_accounts)
        return std::nullopt;
    AccountStore& store = m_accounts->store;
    if (std::optional<QString> problem = store.load())
        return problem;
    for (const AccountSeed::Account& account : m_options.seed.accounts) {
        if (std::optional<QString> problem =
                store.ensureAccount(account.email, account.password, account.plan, account.role))
            return problem;
    }
    for (const QString& invite : m_options.seed.invites)
        store.addInvite(invite);
    Log::line(QStringLiteral("accounts: %1 given, %2 invite codes, state %3")
                  .arg(m_options.seed.accounts.size())
                  .arg(m_options.seed.invites.size())
                  .arg(m_options.statePath.isEmpty() ? QStringLiteral("in memory") : m_options.statePath));
    return std::nullopt;
}

void TavrinService::run()
{
    m_http->run();
}

void TavrinService::stop()
{
    m_http->stop();
}
