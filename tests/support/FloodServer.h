#pragma once

#include <QByteArray>
#include <QUrl>
#include <atomic>
#include <thread>

// Answers one request with a head and then the same body part over and over, as fast as the client
// takes it, up to a total, on a thread of its own: it keeps sending while the test's main thread is busy.
// It starts answering on `release`, so that a test can first let the whole request go out.
class FloodServer
{
public:
    FloodServer(const QByteArray& head, const QByteArray& part, qint64 total);
    ~FloodServer();
    FloodServer(const FloodServer&) = delete;
    FloodServer& operator=(const FloodServer&) = delete;

    QUrl url() const;
    bool hasRequest() const { return m_hasRequest; }
    void release() { m_released = true; }
    qint64 sent() const { return m_sent; }
    // Polls until nothing more went out for half a second, or until the deadline.
    void waitUntilStalled(int deadlineMs);

private:
    void serve(const QByteArray& head, const QByteArray& part, qint64 total);

    int m_listener = -1;
    quint16 m_port = 0;
    // The accepted connection; the thread never closes it, so that the destructor can shut it down.
    std::atomic<int> m_socket = -1;
    std::atomic<qint64> m_sent = 0;
    std::atomic<bool> m_hasRequest = false;
    std::atomic<bool> m_released = false;
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;
};
