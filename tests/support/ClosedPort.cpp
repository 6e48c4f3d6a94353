#include "ClosedPort.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

ClosedPort::ClosedPort() : m_socket(::socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (m_socket >= 0 && ::bind(m_socket, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
        ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        m_port = ntohs(address.sin_port);
}

ClosedPort::~ClosedPort()
{
    if (m_socket >= 0)
        ::close(m_socket);
}
