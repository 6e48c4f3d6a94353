#pragma once

#include "Clock.h"

#include <QDateTime>
#include <QHash>
#include <QString>
#include <chrono>
#include <mutex>
#include <optional>

// How often something may happen per key (an address, a client): a bucket of `burst` tries per key that
// refills by one try every `refill`. Full buckets are forgotten, so keys that stay quiet cost nothing.
class Throttle
{
public:
    Throttle(Clock clock, int burst, std::chrono::seconds refill);

    // Takes one try: nothing when it may go ahead, otherwise how long until the next try is possible.
    std::optional<std::chrono::seconds> take(const QString& key);

private:
    struct Bucket
    {
        double tries = 0;
        QDateTime updated;
    };
    double refilled(const Bucket& bucket, const QDateTime& now) const;
    void forgetFullLocked(const QDateTime& now);

    Clock m_clock;
    int m_burst;
    std::chrono::seconds m_refill;
    std::mutex m_mutex;
    QHash<QString, Bucket> m_buckets;
};
