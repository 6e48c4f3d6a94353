#pragma once

#include "Clock.h"

#include <QDateTime>
#include <QHash>
#include <QString>
#include <chrono>
#include <mutex>
#include <optional>

// A delay that grows with each failure of a key (an account, a client): after `freeFailures` the key
// waits 1 s, then 2, 4, 8 ... up to `longest`. A success clears the key; a day without tries forgets it.
class Backoff
{
public:
    Backoff(Clock clock, int freeFailures, std::chrono::seconds longest);

    // Counts a try before its outcome is known, so that a flood of parallel tries is counted too:
    // nothing when it may go ahead, otherwise how long the key still has to wait.
    std::optional<std::chrono::seconds> attempt(const QString& key);
    void succeeded(const QString& key);

private:
    struct Record
    {
        int failures = 0;
        QDateTime blockedUntil;
        QDateTime last;
    };
    void forgetStaleLocked(const QDateTime& now);

    Clock m_clock;
    int m_freeFailures;
    std::chrono::seconds m_longest;
    std::mutex m_mutex;
    QHash<QString, Record> m_records;
};
