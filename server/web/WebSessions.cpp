#include "WebSessions.h"

#include "Secrets.h"

WebSessions::WebSessions(Clock clock, Expired expired)
    : m_clock(std::move(clock)), m_expired(std::move(expired))
{}

WebSessions::Session WebSessions::begin(const QString& token)
{
    const QDateTime now = m_clock();
    const Session session{Secrets::deviceToken(),        token, Secrets::ticket(),
                          now.addSecs(lifetime.count()), {},    {}};
    QList<QString> expired;
    {
        const std::lock_guard lock(m_mutex);
        expired = dropExpiredLocked(now);
        m_sessions.insert(session.id, session);
    }
    for (const QString& gone : expired)
        m_expired(gone);
    return session;
}

std::optional<WebSessions::Session> WebSessions::find(const QString& id)
{
    const QDateTime now = m_clock();
    std::optional<Session> found;
    QList<QString> expired;
    {
        const std::lock_guard lock(m_mutex);
        expired = dropExpiredLocked(now);
        if (const auto it = m_sessions.constFind(id); it != m_sessions.constEnd())
            found = *it;
    }
    for (const QString& gone : expired)
        m_expired(gone);
    if (found && found->pairingExpires <= now)
        found->pairingCode.clear();
    return found;
}

void WebSessions::end(const QString& id)
{
    const std::lock_guard lock(m_mutex);
    m_sessions.remove(id);
}

void WebSessions::setPairing(const QString& id, const QString& code, std::chrono::seconds codeLifetime)
{
    const QDateTime now = m_clock();
    const std::lock_guard lock(m_mutex);
    const auto found = m_sessions.find(id);
    if (found == m_sessions.end())
        return;
    found->pairingCode = code;
    found->pairingExpires = now.addSecs(codeLifetime.count());
}

QList<QString> WebSessions::dropExpiredLocked(const QDateTime& now)
{
    QList<QString> tokens;
    for (auto it = m_sessions.begin(); it != m_sessions.end();) {
        if (it->expires > now) {
            ++it;
            continue;
        }
        tokens.append(it->token);
        it = m_sessions.erase(it);
    }
    return tokens;
}
