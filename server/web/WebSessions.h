#pragma once

#include "Clock.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>

// Which browser is signed in. A signed-in browser is one of the account's devices: its device token stays
// here, in memory, and the browser's cookie holds only a random session id, so a script that reads the
// cookie jar learns nothing it can use against the API. A session ends at sign-out, after its lifetime,
// or when its device is revoked; a restart of the service signs every browser out.
class WebSessions
{
public:
    static constexpr std::chrono::seconds lifetime{8 * 3600};

    struct Session
    {
        QString id;
        QString token;
        QString formToken; // every form of this session carries it back
        QDateTime expires;
        QString pairingCode; // the last pairing code this browser made, shown until it expires
        QDateTime pairingExpires;
    };
    // Told the device token of each session that ran out, so its device can be revoked.
    using Expired = std::function<void(const QString& token)>;

    WebSessions(Clock clock, Expired expired);

    Session begin(const QString& token);
    // The live session of a cookie's id.
    std::optional<Session> find(const QString& id);
    void end(const QString& id);
    void setPairing(const QString& id, const QString& code, std::chrono::seconds codeLifetime);

private:
    QList<QString> dropExpiredLocked(const QDateTime& now);

    Clock m_clock;
    Expired m_expired;
    std::mutex m_mutex;
    QHash<QString, Session> m_sessions; // by id
};
