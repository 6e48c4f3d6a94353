#pragma once

#include <QDateTime>
#include <functional>

// What time it is, asked of a function so that tests can move time on: expiring codes, daily limits.
using Clock = std::function<QDateTime()>;

inline Clock systemClock()
{
    return [] { return QDateTime::currentDateTime(); };
}
