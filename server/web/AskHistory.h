#pragma once

#include "Clock.h"
#include "base/Result.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <chrono>
#include <mutex>
#include <optional>

struct sqlite3;

// The asks each account made and the answers it got, kept in an SQLite file for a set number of days
// and searchable by the words of the request or the answer (FTS5). Safe to use from any thread.
class AskHistory
{
public:
    struct Entry
    {
        qint64 id = 0;
        QDateTime at;
        QString app;
        QString request;
        QString answer;
        QString route;
    };

    AskHistory(QString path, std::chrono::days retention, Clock clock);
    ~AskHistory();
    AskHistory(const AskHistory&) = delete;
    AskHistory& operator=(const AskHistory&) = delete;

    // Opens or creates the file (owner-only) and drops what is past its time: why it cannot, or nothing.
    std::optional<QString> open();
    std::chrono::days retention() const { return m_retention; }

    // Keeps an ask as of now (the entry's id and time are not read).
    std::optional<QString> record(const QString& email, const Entry& entry);
    // Newest first; with words, only the entries whose request or answer holds every one of them (a word
    // also matches longer words it begins), or why the file could not be read.
    Result<QList<Entry>> entries(const QString& email, const QString& words, int limit = 200);
    // Whether the account had such an entry, or why the file could not be changed.
    Result<bool> remove(const QString& email, qint64 id);
    Result<void> removeAll(const QString& email);

    // The words as an FTS5 query that matches them all as prefixes, whatever characters they contain.
    static QString matchQuery(const QString& words);

private:
    std::optional<QString> execLocked(const char* sql);
    void pruneLocked();
    QString lastErrorLocked() const;
    Error errorLocked() const;

    QString m_path;
    std::chrono::days m_retention;
    Clock m_clock;
    std::mutex m_mutex;
    sqlite3* m_db = nullptr;
};
