#pragma once

#include "Clock.h"

#include <QHash>
#include <QString>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>

// Short-lived single-use codes kept in memory: e-mailed codes, pairing codes, sign-in tickets. Each
// code belongs to a subject (an e-mail address) and may carry a note (what the code is for).
class ExpiringCodes
{
public:
    struct Entry
    {
        QString subject;
        QString note;
        QDateTime expires;
    };

    ExpiringCodes(Clock clock, std::function<QString()> generate, int maxFailuresPerSubject = 5);

    QString issue(const QString& subject, const QString& note, std::chrono::seconds lifetime);
    // The live entry of a code, left in place.
    std::optional<Entry> find(const QString& code);
    // The live entry of a code, which is used up.
    std::optional<Entry> take(const QString& code);
    // Like take, but only a code issued to this subject counts. Too many wrong guesses for one subject
    // void all of its codes, so that a six-digit code cannot be guessed.
    std::optional<Entry> takeFor(const QString& subject, const QString& code);

private:
    void dropExpired();

    Clock m_clock;
    std::function<QString()> m_generate;
    int m_maxFailures;
    std::mutex m_mutex;
    QHash<QString, Entry> m_entries;
    QHash<QString, int> m_failures;
};
