#include "TavrinService.h"

#include "AskAccess.h"
#include "AskRoute.h"
#include "EngineChoice.h"
#include "HttpServer.h"

TavrinService::TavrinService(const ServiceOptions& options)
    : m_options(options), m_engine(EngineChoice::make(options)),
      m_askAccess(std::make_unique<AskAccess>(options.token)),
      m_askRoute(std::make_unique<AskRoute>(*m_engine, *m_askAccess)), m_http(std::make_unique<HttpServer>())
{
    m_askRoute->install(m_http->routes());
}

TavrinService::~TavrinService() = default;

std::optional<QString> TavrinService::bind()
{
    const std::variant<int, QString> bound = m_http->bind(m_options.host, m_options.port);
    if (const QString* problem = std::get_if<QString>(&bound))
        return *problem;
    m_url = HttpServer::url(m_options.host, std::get<int>(bound));
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
