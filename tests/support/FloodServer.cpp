#include "FloodServer.h"

#include <QDeadlineTimer>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

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

// Shutting the sockets down wakes the thread from whatever call it is blocked in.
FloodServer::~FloodServer()
{
    m_stopping = true;
    ::shutdown(m_listener, SHUT_RDWR);
    if (m_socket >= 0)
        ::shutdown(m_socket, SHUT_RDWR);
    m_thread.join();
    if (m_socket >= 0)
        ::close(m_socket);
    ::close(m_listener);
}

QUrl FloodServer::url() const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_port));
}

void FloodServer::serve(const QByteArray& head, const QByteArray& part, qint64 total)
{
    m_socket = ::accept(m_listener, nullptr, nullptr);
    // The destructor either saw the socket or is seen here to be stopping.
    if (m_socket < 0 || m_stopping)
        return;
    QByteArray request;
    char buffer[4096];
    ssize_t n = 0;
    while (!request.contains("\r\n\r\n") && (n = ::recv(m_socket, buffer, sizeof buffer, 0)) > 0)
        request.append(buffer, n);
    m_hasRequest = true;
    while (!m_released && !m_stopping)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    for (QByteArrayView bytes = head; !m_stopping && m_sent < total; bytes = part) {
        for (QByteArrayView rest = bytes; !rest.isEmpty(); rest = rest.sliced(n)) {
            n = ::send(m_socket, rest.data(), size_t(rest.size()), MSG_NOSIGNAL);
            if (n <= 0)
                return;
            m_sent += n;
        }
    }
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
