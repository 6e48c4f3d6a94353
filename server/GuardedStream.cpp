#include "GuardedStream.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace {

using namespace std::chrono;

constexpr qsizetype receiveChunk = 16 * 1024;
// Chunk sizes and trailers around a body of the largest size.
constexpr std::size_t framingAllowance = 64 * 1024;
constexpr milliseconds stopCheck{250};

bool waitFor(int socket, short events, milliseconds timeout)
{
    pollfd watched{socket, events, 0};
    return ::poll(&watched, 1, static_cast<int>(std::max<milliseconds::rep>(0, timeout.count()))) > 0;
}

std::string addressText(const sockaddr_storage& address, int& port)
{
    char text[INET6_ADDRSTRLEN] = {};
    if (address.ss_family == AF_INET6) {
        const auto& ipv6 = reinterpret_cast<const sockaddr_in6&>(address);
        inet_ntop(AF_INET6, &ipv6.sin6_addr, text, sizeof text);
        port = ntohs(ipv6.sin6_port);
    } else if (address.ss_family == AF_INET) {
        const auto& ipv4 = reinterpret_cast<const sockaddr_in&>(address);
        inet_ntop(AF_INET, &ipv4.sin_addr, text, sizeof text);
        port = ntohs(ipv4.sin_port);
    }
    return text;
}

} // namespace

GuardedStream::GuardedStream(int socket, const ConnectionLimits& limits, BodyBudget& budget)
    : m_socket(socket), m_limits(limits), m_budget(budget)
{}

GuardedStream::~GuardedStream()
{
    releaseBody();
}

GuardedStream::Head GuardedStream::readHead(milliseconds idle, const std::atomic<socket_t>& listening)
{
    m_head.clear();
    m_received = 0;
    m_bodyTooLarge = false;
    m_overBudget = false;
    const auto idleEnd = steady_clock::now() + idle;
    while (m_offset == m_pending.size()) {
        const auto left = duration_cast<milliseconds>(idleEnd - steady_clock::now());
        if (listening == INVALID_SOCKET || left.count() <= 0)
            return Head::Idle;
        if (waitReadable(std::min(left, stopCheck)) && !receive())
            return Head::Closed;
    }
    m_requestDeadline = steady_clock::now() + m_limits.requestTime;
    for (;;) {
        const QByteArrayView unread = QByteArrayView(m_pending).sliced(m_offset);
        const qsizetype end = unread.indexOf(QByteArrayView("\r\n\r\n"));
        const qsizetype headSize = end < 0 ? unread.size() : end + 4;
        if (static_cast<std::size_t>(headSize) > m_limits.maxHeaderBytes ||
            unread.first(headSize).count('\n') > m_limits.maxHeaderLines + 2)
            return Head::TooLarge;
        if (end >= 0) {
            m_head = unread.first(headSize).toByteArray();
            m_received = static_cast<std::size_t>(unread.size() - headSize);
            chargeBody(m_received);
            return Head::Complete;
        }
        const milliseconds left = leftForRequest(m_limits.readTimeout);
        if (left.count() <= 0 || !waitReadable(left))
            return Head::TimedOut;
        if (!receive())
            return Head::Closed;
    }
}

bool GuardedStream::is_readable() const
{
    return m_offset < m_pending.size() || waitReadable(leftForRequest(m_limits.readTimeout));
}

bool GuardedStream::is_writable() const
{
    if (!waitFor(m_socket, POLLOUT, m_limits.readTimeout))
        return false;
    // Writable, but is anyone there? A peer that hung up reads as end of stream.
    if (!waitFor(m_socket, POLLIN, milliseconds(0)))
        return true;
    char byte = 0;
    return ::recv(m_socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

ssize_t GuardedStream::read(char* ptr, size_t size)
{
    if (m_overBudget)
        return -1;
    if (m_offset == m_pending.size()) {
        if (m_received > m_limits.maxBodyBytes + framingAllowance) {
            m_bodyTooLarge = true;
            return -1;
        }
        const milliseconds left = leftForRequest(m_limits.readTimeout);
        if (left.count() <= 0 || !waitReadable(left) || !receive() || m_overBudget)
            return -1;
    }
    const qsizetype count = std::min<qsizetype>(static_cast<qsizetype>(size), m_pending.size() - m_offset);
    std::memcpy(ptr, m_pending.constData() + m_offset, static_cast<std::size_t>(count));
    m_offset += count;
    return count;
}

ssize_t GuardedStream::write(const char* ptr, size_t size)
{
    size_t written = 0;
    while (written < size) {
        if (!waitFor(m_socket, POLLOUT, m_limits.readTimeout))
            return -1;
        const ssize_t sent = ::send(m_socket, ptr + written, size - written, MSG_NOSIGNAL);
        if (sent < 0 && errno != EAGAIN && errno != EINTR)
            return -1;
        written += static_cast<size_t>(std::max<ssize_t>(0, sent));
    }
    return static_cast<ssize_t>(written);
}

void GuardedStream::get_remote_ip_and_port(std::string& ip, int& port) const
{
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (::getpeername(m_socket, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        ip = addressText(address, port);
}

void GuardedStream::get_local_ip_and_port(std::string& ip, int& port) const
{
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (::getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        ip = addressText(address, port);
}

std::string GuardedStream::peerAddress(int socket)
{
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    int port = 0;
    if (::getpeername(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return {};
    return addressText(address, port);
}

bool GuardedStream::waitReadable(milliseconds timeout) const
{
    return waitFor(m_socket, POLLIN, timeout);
}

bool GuardedStream::receive()
{
    if (m_offset == m_pending.size()) {
        m_pending.clear();
        m_offset = 0;
    }
    const qsizetype before = m_pending.size();
    m_pending.resize(before + receiveChunk);
    const ssize_t got = ::recv(m_socket, m_pending.data() + before, receiveChunk, MSG_DONTWAIT);
    m_pending.resize(before + std::max<qsizetype>(0, got));
    if (got <= 0)
        return false;
    if (!m_head.isEmpty()) {
        m_received += static_cast<std::size_t>(got);
        chargeBody(static_cast<std::size_t>(got));
    }
    return true;
}

void GuardedStream::chargeBody(std::size_t bytes)
{
    if (m_budget.take(bytes))
        m_charged += bytes;
    else
        m_overBudget = true;
}

void GuardedStream::releaseBody()
{
    m_budget.give(m_charged);
    m_charged = 0;
}

milliseconds GuardedStream::leftForRequest(milliseconds cap) const
{
    return std::min(cap, duration_cast<milliseconds>(m_requestDeadline - steady_clock::now()));
}
