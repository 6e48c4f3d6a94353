#include "FloodServer.h"

#include <QDeadlineTimer>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Waits up to a tenth of a second for the socket; false once the server stops.
bool ready(int socket, short events, const std::atomic<bool>& stopping)
{
    pollfd watched{socket, events, 0};
    while (!stopping) {
        if (::poll(&watched, 1, 100) > 0)
            return true;
    }
    return false;
}

bool sendAll(int socket, QByteArrayView bytes, const std::atomic<bool>& stopping, std::atomic<qint64>& sent)
{
    while (!bytes.isEmpty()) {
        if (!ready(socket, POLLOUT, stopping))
            return false;
        const ssize_t n = ::send(socket, bytes.data(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        sent += n;
        bytes = bytes.sliced(n);
    }
    return true;
}

} // namespace

FloodServer::FloodServer(const QByteArray& head, const QByteArray& part, qint64 total)
    : m_listener(::socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), length);
    ::listen(m_listener, 1);
    ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this, head, part, total] { serve(head, part, total); });
}

FloodServer::~FloodServer()
{
    m_stopping = true;
    m_thread.join();
    ::close(m_listener);
}

QUrl FloodServer::url() const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_port));
}

void FloodServer::serve(const QByteArray& head, const QByteArray& part, qint64 total)
{
    if (!ready(m_listener, POLLIN, m_stopping))
        return;
    const int socket = ::accept(m_listener, nullptr, nullptr);
    if (socket < 0)
        return;
    QByteArray request;
    char byte = 0;
    while (!request.endsWith("\r\n\r\n") && ready(socket, POLLIN, m_stopping) &&
           ::recv(socket, &byte, 1, 0) == 1)
        request += byte;
    const qsizetype field = request.toLower().indexOf("content-length:");
    qint64 body = field < 0 ? 0 : request.mid(field + 15, 20).trimmed().split('\r').constFirst().toLongLong();
    while (body > 0 && ready(socket, POLLIN, m_stopping) && ::recv(socket, &byte, 1, 0) == 1)
        --body;
    m_hasRequest = true;
    while (!m_released && !m_stopping)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (sendAll(socket, head, m_stopping, m_sent)) {
        while (m_sent < total && sendAll(socket, part, m_stopping, m_sent)) {
        }
    }
    ::close(socket);
}

void FloodServer::waitUntilStalled(int deadlineMs)
{
    const QDeadlineTimer deadline(deadlineMs);
    qint64 last = -1;
    while (!deadline.hasExpired() && m_sent != last) {
        last = m_sent;
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
}
