#pragma once

#include "BodyBudget.h"
#include "ConnectionLimits.h"

#include <QByteArray>
#include <atomic>
#include <chrono>
#include <httplib.h>

// One client connection as the HTTP library reads and writes it, with the limits it ignores: the
// request head is read here first, whole, within a size, a line count and a deadline; the body that
// follows may not exceed the body limit however it is framed (length, chunks, or until the close), nor
// take more than the budget that all connections' bodies share.
class GuardedStream : public httplib::Stream
{
public:
    enum class Head { Complete, Idle, Closed, TimedOut, TooLarge };

    GuardedStream(int socket, const ConnectionLimits& limits, BodyBudget& budget);
    ~GuardedStream() override;
    GuardedStream(const GuardedStream&) = delete;
    GuardedStream& operator=(const GuardedStream&) = delete;

    // Waits up to `idle` for the first byte of the next request (Idle when none comes, or once the
    // listening socket is closed), then reads its head. Only after Complete may the library read on.
    Head readHead(std::chrono::milliseconds idle, const std::atomic<socket_t>& listening);
    const QByteArray& head() const { return m_head; }
    // The body went past the limit, and reading it failed for that reason.
    bool bodyTooLarge() const { return m_bodyTooLarge; }
    // The bodies being received on all connections took the whole budget, and reading failed for that.
    bool overBudget() const { return m_overBudget; }
    // The request is over: what its body took goes back to the budget.
    void releaseBody();

    bool is_readable() const override;
    bool is_writable() const override;
    ssize_t read(char* ptr, size_t size) override;
    ssize_t write(const char* ptr, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return m_socket; }

    // The connection's peer address as text ("127.0.0.1", "::1").
    static std::string peerAddress(int socket);

private:
    bool waitReadable(std::chrono::milliseconds timeout) const;
    // Receives what has come into the buffer: false when the peer has gone.
    bool receive();
    std::chrono::milliseconds leftForRequest(std::chrono::milliseconds cap) const;
    void chargeBody(std::size_t bytes);

    int m_socket;
    const ConnectionLimits& m_limits;
    BodyBudget& m_budget;
    QByteArray m_head;    // this request's head, as read
    QByteArray m_pending; // received; the part from m_offset on is not yet handed to the library
    qsizetype m_offset = 0;
    std::size_t m_received = 0; // after the head
    std::chrono::steady_clock::time_point m_requestDeadline;
    bool m_bodyTooLarge = false;
    std::size_t m_charged = 0; // taken from the budget for this request
    bool m_overBudget = false;
};
