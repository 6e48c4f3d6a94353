#include "ExpiringCodes.h"

ExpiringCodes::ExpiringCodes(Clock clock, std::function<QString()> generate)
    : m_clock(std::move(clock)), m_generate(std::move(generate))
{}

QString ExpiringCodes::issue(const QString& subject, const QString& note, std::chrono::seconds lifetime)
{
    const std::lock_guard lock(m_mutex);
    dropExpired();
    m_entries.removeIf(
        [&](const auto& item) { return item.value().subject == subject && item.value().note == note; });
    QString code;
    do {
        code = m_generate();
    } while (m_entries.contains(code));
    m_entries.insert(code, {subject, note, m_clock().addSecs(lifetime.count())});
    return code;
}

std::optional<ExpiringCodes::Entry> ExpiringCodes::find(const QString& code)
{
    const std::lock_guard lock(m_mutex);
    dropExpired();
    const auto found = m_entries.constFind(code);
    if (found == m_entries.constEnd())
        return std::nullopt;
    return *found;
}

std::optional<ExpiringCodes::Entry> ExpiringCodes::take(const QString& code)
{
    const std::lock_guard lock(m_mutex);
    dropExpired();
    const auto found = m_entries.find(code);
    if (found == m_entries.end())
        return std::nullopt;
    const Entry entry = *found;
    m_entries.erase(found);
    return entry;
}

std::optional<ExpiringCodes::Entry> ExpiringCodes::takeFor(const QString& subject, const QString& code)
{
    const std::lock_guard lock(m_mutex);
    dropExpired();
    const auto found = m_entries.find(code);
    if (found != m_entries.end() && found->subject == subject) {
        const Entry entry = *found;
        m_entries.erase(found);
        return entry;
    }
    return std::nullopt;
}

void ExpiringCodes::strike(const QString& code, int allowed)
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_entries.find(code);
    if (found != m_entries.end() && ++found->strikes >= allowed)
        m_entries.erase(found);
}

void ExpiringCodes::dropExpired()
{
    const QDateTime now = m_clock();
    m_entries.removeIf([&now](const auto& item) { return item.value().expires <= now; });
}
