#pragma once

#include "BodyBudget.h"
#include "ConnectionLimits.h"

#include <QHash>
#include <QString>
#include <httplib.h>
#include <mutex>

// The HTTP library's server with each connection served under ConnectionLimits: a worker thread per
// connection from a pool that grows up to the connection limit, a cap per client address, deadlines
// on silent and slow clients, caps on the request head and body and on all bodies together, and no
// compressed request bodies.
class GuardedServer : public httplib::Server
{
public:
    explicit GuardedServer(const ConnectionLimits& limits);

    // The body of the request being handled on this thread went past the limit.
    static bool bodyTooLarge();
    // The request being handled on this thread was cut off because all bodies together took too much.
    static bool bodyOverBudget();
    // Lets connections queue up in the kernel while every worker is busy, instead of being refused.
    void widenListenQueue();

private:
    bool process_and_close_socket(socket_t sock) override;
    // Serves the connection's requests: true when it ended with input left unread.
    bool serve(socket_t sock);
    static void drain(socket_t sock);
    // Takes a place for the client, or false when it has too many connections already.
    bool enter(const QString& client);
    void leave(const QString& client);

    ConnectionLimits m_limits;
    BodyBudget m_bodyBudget;
    std::mutex m_mutex;
    QHash<QString, int> m_connections; // per client address
};
