#pragma once

#include <QString>
#include <atomic>
#include <memory>
#include <variant>

namespace httplib {
class Server;
}

// The HTTP side of the service, set up once for every route: small writes go out at once, failures
// without a body of their own still answer {"error": "..."}, every request is logged by method, path
// and status only.
class HttpServer
{
public:
    HttpServer();
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    httplib::Server& routes() { return *m_server; }

    // Opens the listening socket; port 0 picks a free one. The port listened on, or why it failed.
    std::variant<int, QString> bind(const QString& host, int port);
    // Serves on the bound socket until stop(); returns once the answers in progress have ended.
    void run();
    // From another thread, once run() has been called (or is about to be).
    void stop();

    static QString url(const QString& host, int port);

private:
    std::unique_ptr<httplib::Server> m_server;
    std::atomic<bool> m_stopping = false;
    std::atomic<bool> m_finished = false;
};
