#pragma once

#include "Clock.h"

#include <QHash>
#include <QString>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>

// Short-lived single-use codes kept in memory: e-mailed codes, pairing codes, sign-in tickets. Each
// code belongs to a subject (an e-mail address) and carries a note (what the code is for); a subject has
// at most one live code per note, so that asking for many codes does not multiply the chances of a guess.
class ExpiringCodes
{
public:
    struct Entry
    {
        QString subject;
        QString note;
        QDateTime expires;
        int strikes = 0;
    };

    ExpiringCodes(Clock clock, std::function<QString()> generate);

    // A new code, which replaces the subject's live code for the same note.
    QString issue(const QString& subject, const QString& note, std::chrono::seconds lifetime);
    // The live entry of a code, left in place.
    std::optional<Entry> find(const QString& code);
    // The live entry of a code, which is used up.
    std::optional<Entry> take(const QString& code);
    // Like take, but only a code issued to this subject counts.
    std::optional<Entry> takeFor(const QString& subject, const QString& code);
    // One wrong try against a code that stays live otherwise; the last allowed strike voids it.
    void strike(const QString& code, int allowed);

private:
    void dropExpired();

    Clock m_clock;
    std::function<QString()> m_generate;
    std::mutex m_mutex;
    QHash<QString, Entry> m_entries;
};
