#include "GuardedServer.h"

#include "ElasticPool.h"
#include "GuardedStream.h"
#include "Log.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

thread_local const GuardedStream* t_stream = nullptr;
constexpr std::chrono::milliseconds lingering{1000};
constexpr std::size_t maxDrainBytes = 256 * 1024 * 1024;

// A compressed body could inflate far past the body limit; nothing this service serves needs one.
bool compressedBody(const QByteArray& head)
{
    for (const QByteArray& line : head.split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().compare("content-encoding", Qt::CaseInsensitive) == 0)
            return line.mid(colon + 1).trimmed().compare("identity", Qt::CaseInsensitive) != 0;
    }
    return false;
}

// An answer written before the library has read the request; the connection closes after it.
void refuse(GuardedStream& stream, int status, const char* reason, const QString& message)
{
    const QByteArray body =
        QJsonDocument(QJsonObject{{QStringLiteral("error"), message}}).toJson(QJsonDocument::Compact);
    const QByteArray answer =
        "HTTP/1.1 " + QByteArray::number(status) + ' ' + reason +
        "\r\nContent-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size()) +
        "\r\nConnection: close\r\n\r\n" + body;
    stream.write(answer.constData(), static_cast<size_t>(answer.size()));
}

} // namespace

GuardedServer::GuardedServer(const ConnectionLimits& limits)
    : m_limits(limits), m_bodyBudget(limits.maxBodyBytesInFlight)
{
    new_task_queue = [maxThreads = limits.maxConnections] { return new ElasticPool(maxThreads); };
}

bool GuardedServer::bodyTooLarge()
{
    return t_stream && t_stream->bodyTooLarge();
}

bool GuardedServer::bodyOverBudget()
{
    return t_stream && t_stream->overBudget();
}

void GuardedServer::widenListenQueue()
{
    ::listen(svr_sock_, SOMAXCONN);
}

bool GuardedServer::process_and_close_socket(socket_t sock)
{
    if (serve(sock)) {
        // Closing with unread input would reset the connection and could destroy the answer on its
        // way (a 413 to a client still sending): stop writing, drain for a while, then close.
        ::shutdown(sock, SHUT_WR);
        drain(sock);
    }
    ::close(sock);
    return true;
}

void GuardedServer::drain(socket_t sock)
{
    using namespace std::chrono;
    char drained[16 * 1024];
    const auto end = steady_clock::now() + lingering;
    std::size_t total = 0;
    while (total < maxDrainBytes) {
        const auto left = duration_cast<milliseconds>(end - steady_clock::now());
        pollfd watched{sock, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&watched, 1, static_cast<int>(left.count())) <= 0)
            break;
        const ssize_t got = ::recv(sock, drained, sizeof drained, MSG_DONTWAIT);
        if (got <= 0)
            break;
        total += static_cast<std::size_t>(got);
    }
}

bool GuardedServer::serve(socket_t sock)
{
    const int on = 1;
    ::setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    GuardedStream stream(sock, m_limits, m_bodyBudget);
    const QString client = QString::fromStdString(GuardedStream::peerAddress(sock));
    if (!enter(client)) {
        refuse(stream, 503, "Service Unavailable", QStringLiteral("Too many connections from your address."));
        return false;
    }
    bool unread = false;
    for (int served = 0; served < m_limits.maxRequestsPerConnection; ++served) {
        const GuardedStream::Head head =
            stream.readHead(served == 0 ? m_limits.firstRead : m_limits.keepAlive, svr_sock_);
        if (head == GuardedStream::Head::TooLarge) {
            Log::line(QStringLiteral("%1: request head too large").arg(client));
            refuse(stream, 431, "Request Header Fields Too Large",
                   QStringLiteral("The request head is too large."));
            unread = true;
            break;
        }
        if (head == GuardedStream::Head::TimedOut) {
            Log::line(QStringLiteral("%1: request head too slow").arg(client));
            refuse(stream, 408, "Request Timeout", QStringLiteral("The request took too long to arrive."));
            unread = true;
            break;
        }
        if (head != GuardedStream::Head::Complete)
            break;
        if (compressedBody(stream.head())) {
            Log::line(QStringLiteral("%1: compressed request body refused").arg(client));
            refuse(stream, 415, "Unsupported Media Type",
                   QStringLiteral("Compressed request bodies are not accepted."));
            unread = true;
            break;
        }
        bool closed = false;
        t_stream = &stream;
        const bool kept =
            process_request(stream, served + 1 == m_limits.maxRequestsPerConnection, closed, nullptr);
        t_stream = nullptr;
        stream.releaseBody();
        if (!kept || closed) {
            unread = !kept || stream.bodyTooLarge() || stream.overBudget();
            break;
        }
    }
    // Before the drain, which may take a while.
    stream.releaseBody();
    leave(client);
    return unread;
}

bool GuardedServer::enter(const QString& client)
{
    const std::lock_guard lock(m_mutex);
    int& count = m_connections[client];
    if (count >= m_limits.maxConnectionsPerClient)
        return false;
    ++count;
    return true;
}

void GuardedServer::leave(const QString& client)
{
    const std::lock_guard lock(m_mutex);
    if (--m_connections[client] <= 0)
        m_connections.remove(client);
}
