#include "HostileServer.h"

#include <QString>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

void readHead(int socket)
{
    QByteArray head;
    char byte = 0;
    while (!head.endsWith("\r\n\r\n") && head.size() < 65536 && ::recv(socket, &byte, 1, 0) == 1)
        head += byte;
}

} // namespace

HostileServer::HostileServer(Script script)
{
    m_listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), length);
    ::listen(m_listener, 4);
    ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this, script = std::move(script)] {
        pollfd watched{m_listener, POLLIN, 0};
        while (!m_stopping && ::poll(&watched, 1, 100) == 0) {
        }
        if (m_stopping)
            return;
        const int socket = ::accept(m_listener, nullptr, nullptr);
        if (socket < 0)
            return;
        readHead(socket);
        script(socket, *this);
        ::close(socket);
    });
}

HostileServer::~HostileServer()
{
    m_stopping = true;
    m_thread.join();
    ::close(m_listener);
}

QString HostileServer::url() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

bool HostileServer::send(int socket, const QByteArray& bytes)
{
    qsizetype written = 0;
    while (written < bytes.size()) {
        pollfd watched{socket, POLLOUT, 0};
        if (m_stopping)
            return false;
        if (::poll(&watched, 1, 100) <= 0)
            continue;
        const ssize_t count =
            ::send(socket, bytes.constData() + written, static_cast<size_t>(bytes.size() - written),
                   MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno != EAGAIN)
            return false;
        written += std::max<ssize_t>(0, count);
        m_sent += std::max<ssize_t>(0, count);
    }
    return true;
}
