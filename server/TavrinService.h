#pragma once

#include "ServiceOptions.h"

#include <QString>
#include <memory>
#include <optional>

class AnswerEngine;
class AskAccess;
class AskRoute;
class HttpServer;

// The whole service put together from its options: engine, access rules, routes and the HTTP server.
class TavrinService
{
public:
    explicit TavrinService(const ServiceOptions& options);
    ~TavrinService();
    TavrinService(const TavrinService&) = delete;
    TavrinService& operator=(const TavrinService&) = delete;

    // Opens the listening socket; nothing, or why it cannot. Then url() is where it listens.
    std::optional<QString> bind();
    QString url() const { return m_url; }
    void run();
    void stop();

    const AskRoute& asks() const { return *m_askRoute; }

private:
    ServiceOptions m_options;
    QString m_url;
    std::unique_ptr<AnswerEngine> m_engine;
    std::unique_ptr<AskAccess> m_askAccess;
    std::unique_ptr<AskRoute> m_askRoute;
    // Last, so that it stops serving before anything its routes use goes away.
    std::unique_ptr<HttpServer> m_http;
};
