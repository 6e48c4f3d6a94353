#pragma once

#include "ConnectionLimits.h"

#include <QString>
#include <atomic>
#include <memory>
#include <variant>

class GuardedServer;
namespace httplib {
class Server;
}

// The HTTP side of the service, set up once for every route: connections served under limits, small
// writes go out at once, failures without a body of their own still answer {"error": "..."}, every
// request is logged by method, path and status only.
class HttpServer
{
public:
    explicit HttpServer(const ConnectionLimits& limits = {});
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    httplib::Server& routes();

    // Opens the listening socket; port 0 picks a free one. The port listened on, or why it failed.
    std::variant<int, QString> bind(const QString& host, int port);
    // Serves on the bound socket until stop(); returns once the answers in progress have ended.
    void run();
    // From another thread, once run() has been called (or is about to be).
    void stop();

    static QString url(const QString& host, int port);

private:
    std::unique_ptr<GuardedServer> m_server;
    std::atomic<bool> m_stopping = false;
    std::atomic<bool> m_finished = false;
};
