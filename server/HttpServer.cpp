#include "HttpServer.h"

#include "GuardedServer.h"
#include "JsonReply.h"
#include "Log.h"
#include "base/UrlHost.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <httplib.h>
#include <thread>

HttpServer::HttpServer(const ConnectionLimits& limits) : m_server(std::make_unique<GuardedServer>(limits))
{
    // The library writes to sockets without MSG_NOSIGNAL: an agent that hangs up mid-answer would
    // otherwise kill the process instead of failing the write.
    std::signal(SIGPIPE, SIG_IGN);
    // Event frames are small writes; with Nagle on, each waits ~40 ms for the previous one's ACK.
    m_server->set_tcp_nodelay(true);
    m_server->set_payload_max_length(limits.maxBodyBytes);
    m_server->set_logger([](const httplib::Request& request, const httplib::Response& response) {
        Log::line(QStringLiteral("%1 %2 %3")
                      .arg(QString::fromStdString(request.method), QString::fromStdString(request.path))
                      .arg(response.status));
    });
    m_server->set_error_handler(
        httplib::Server::HandlerWithResponse([](const httplib::Request&, httplib::Response& response) {
            // A body cut off at the limit fails like a broken one inside the library; say what it was.
            if (response.status == 400 && GuardedServer::bodyTooLarge())
                response.status = 413;
            if (response.status == 400 && GuardedServer::bodyOverBudget())
                response.status = 503;
            if (!response.body.empty())
                return httplib::Server::HandlerResponse::Unhandled;
            const QString reason = response.status == 404   ? QStringLiteral("not found")
                                   : response.status == 413 ? QStringLiteral("request too large")
                                   : response.status == 503 ? QStringLiteral("busy, try again in a moment")
                                                            : QStringLiteral("request failed");
            JsonReply::error(response, response.status,
                             QStringLiteral("HTTP %1: %2").arg(response.status).arg(reason));
            return httplib::Server::HandlerResponse::Handled;
        }));
    m_server->set_exception_handler(
        [](const httplib::Request&, httplib::Response& response, std::exception_ptr failure) {
            QString what = QStringLiteral("unknown failure");
            try {
                std::rethrow_exception(failure);
            } catch (const std::exception& e) {
                what = QString::fromLocal8Bit(e.what());
            } catch (...) {
            }
            Log::line(QStringLiteral("internal error: ") + what);
            JsonReply::error(response, 500, QStringLiteral("Internal error of the service: ") + what);
        });
}

HttpServer::~HttpServer() = default;

httplib::Server& HttpServer::routes()
{
    return *m_server;
}

std::variant<int, QString> HttpServer::bind(const QString& host, int port)
{
    const std::string address = host.toStdString();
    errno = 0;
    const int bound =
        port == 0 ? m_server->bind_to_any_port(address) : (m_server->bind_to_port(address, port) ? port : -1);
    if (bound > 0) {
        m_server->widenListenQueue();
        return bound;
    }
    const QString reason =
        errno != 0 ? QString::fromLocal8Bit(std::strerror(errno)) : QStringLiteral("address not usable");
    return QStringLiteral("Could not listen on %1: %2").arg(url(host, port), reason);
}

void HttpServer::run()
{
    if (!m_stopping)
        m_server->listen_after_bind();
    m_finished = true;
}

void HttpServer::stop()
{
    m_stopping = true;
    // The library ignores a stop that comes before it is serving; wait for that moment, or it is lost.
    while (!m_server->is_running() && !m_finished)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    m_server->stop();
}

QString HttpServer::url(const QString& host, int port)
{
    return QStringLiteral("http://%1:%2").arg(urlHost(host)).arg(port);
}
