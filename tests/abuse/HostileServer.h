#pragma once

#include <QByteArray>
#include <atomic>
#include <functional>
#include <thread>

// A server on a free loopback port that answers its first connection with a script of its own, in a
// thread of its own, so that it keeps going while the test does not run its event loop.
class HostileServer
{
public:
    // The script gets the connected socket after the request head has been read.
    using Script = std::function<void(int socket, HostileServer& server)>;

    explicit HostileServer(Script script);
    ~HostileServer();
    HostileServer(const HostileServer&) = delete;
    HostileServer& operator=(const HostileServer&) = delete;

    QString url() const;
    // Writes all of it, or fails once the peer is gone or the server is stopping.
    bool send(int socket, const QByteArray& bytes);
    qint64 sent() const { return m_sent; }
    bool stopping() const { return m_stopping; }

private:
    int m_listener = -1;
    int m_port = 0;
    std::atomic<qint64> m_sent = 0;
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;
};
