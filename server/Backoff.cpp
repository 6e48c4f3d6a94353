#include "Backoff.h"

namespace {

constexpr qsizetype pruneAbove = 4096;
constexpr qint64 forgetAfterSeconds = 24 * 3600;

} // namespace

Backoff::Backoff(Clock clock, int freeFailures, std::chrono::seconds longest)
    : m_clock(std::move(clock)), m_freeFailures(freeFailures), m_longest(longest)
{}

std::optional<std::chrono::seconds> Backoff::attempt(const QString& key)
{
    const QDateTime now = m_clock();
    const std::lock_guard lock(m_mutex);
    if (m_records.size() > pruneAbove)
        forgetStaleLocked(now);
    Record& record = m_records[key];
    if (record.last.isValid() && record.last.secsTo(now) >= forgetAfterSeconds)
        record = {};
    if (record.blockedUntil.isValid() && now < record.blockedUntil)
        return std::chrono::seconds(std::max<qint64>(1, now.secsTo(record.blockedUntil)));
    record.last = now;
    const int beyond = ++record.failures - m_freeFailures;
    if (beyond > 0) {
        const qint64 delay =
            beyond > 30 ? m_longest.count() : std::min<qint64>(m_longest.count(), qint64(1) << (beyond - 1));
        record.blockedUntil = now.addSecs(delay);
    }
    return std::nullopt;
}

void Backoff::succeeded(const QString& key)
{
    const std::lock_guard lock(m_mutex);
    m_records.remove(key);
}

void Backoff::forgetStaleLocked(const QDateTime& now)
{
    m_records.removeIf([&](const auto& item) {
        return item.value().last.secsTo(now) >= forgetAfterSeconds && item.value().blockedUntil <= now;
    });
}
