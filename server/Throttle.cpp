#include "Throttle.h"

#include <cmath>

namespace {

constexpr qsizetype pruneAbove = 4096;

} // namespace

Throttle::Throttle(Clock clock, int burst, std::chrono::seconds refill)
    : m_clock(std::move(clock)), m_burst(burst), m_refill(refill)
{}

double Throttle::refilled(const Bucket& bucket, const QDateTime& now) const
{
    const double seconds = static_cast<double>(bucket.updated.msecsTo(now)) / 1000.0;
    return std::min<double>(m_burst,
                            bucket.tries + std::max(0.0, seconds) / static_cast<double>(m_refill.count()));
}

std::optional<std::chrono::seconds> Throttle::take(const QString& key)
{
    const QDateTime now = m_clock();
    const std::lock_guard lock(m_mutex);
    if (m_buckets.size() > pruneAbove)
        forgetFullLocked(now);
    const auto found = m_buckets.constFind(key);
    Bucket bucket{static_cast<double>(m_burst), now};
    if (found != m_buckets.constEnd())
        bucket = {refilled(*found, now), now};
    if (bucket.tries < 1.0) {
        const double wait = (1.0 - bucket.tries) * static_cast<double>(m_refill.count());
        return std::chrono::seconds(static_cast<long>(std::ceil(wait)));
    }
    bucket.tries -= 1.0;
    m_buckets.insert(key, bucket);
    return std::nullopt;
}

void Throttle::forgetFullLocked(const QDateTime& now)
{
    m_buckets.removeIf([&](const auto& item) { return refilled(item.value(), now) >= m_burst; });
}
