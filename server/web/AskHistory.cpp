#include "AskHistory.h"

#include <QFile>
#include <QRegularExpression>
#include <sqlite3.h>

namespace {

constexpr int schemaVersion = 1;

const char* const schema = R"sql(
CREATE TABLE IF NOT EXISTS asks (
  id INTEGER PRIMARY KEY,
  email TEXT NOT NULL,
  at INTEGER NOT NULL,
  app TEXT NOT NULL,
  request TEXT NOT NULL,
  answer TEXT NOT NULL,
  route TEXT NOT NULL
);
CREATE INDEX IF NOT EXISTS asks_by_account ON asks (email, at);
CREATE VIRTUAL TABLE IF NOT EXISTS asks_words USING fts5 (request, answer, content='asks', content_rowid='id');
CREATE TRIGGER IF NOT EXISTS asks_added AFTER INSERT ON asks BEGIN
  INSERT INTO asks_words (rowid, request, answer) VALUES (new.id, new.request, new.answer);
END;
CREATE TRIGGER IF NOT EXISTS asks_removed AFTER DELETE ON asks BEGIN
  INSERT INTO asks_words (asks_words, rowid, request, answer) VALUES ('delete', old.id, old.request, old.answer);
END;
)sql";

// One prepared statement, finalized when it goes out of scope.
class Statement
{
public:
    Statement(sqlite3* db, const char* sql) { sqlite3_prepare_v2(db, sql, -1, &m_statement, nullptr); }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool ok() const { return m_statement != nullptr; }
    void bind(int index, const QString& text)
    {
        const QByteArray utf8 = text.toUtf8();
        sqlite3_bind_text(m_statement, index, utf8.constData(), static_cast<int>(utf8.size()),
                          SQLITE_TRANSIENT);
    }
    void bind(int index, qint64 number) { sqlite3_bind_int64(m_statement, index, number); }
    int step() { return sqlite3_step(m_statement); }
    qint64 integer(int column) const { return sqlite3_column_int64(m_statement, column); }
    QString text(int column) const
    {
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
        return QString::fromUtf8(bytes, sqlite3_column_bytes(m_statement, column));
    }

private:
    sqlite3_stmt* m_statement = nullptr;
};

} // namespace

AskHistory::AskHistory(QString path, std::chrono::days retention, Clock clock)
    : m_path(std::move(path)), m_retention(retention), m_clock(std::move(clock))
{}

AskHistory::~AskHistory()
{
    sqlite3_close(m_db);
}

std::optional<QString> AskHistory::open()
{
    const std::lock_guard lock(m_mutex);
    // Owner-only from the start, and an older file made so: the history holds what people wrote. SQLite
    // gives its journal files the same permissions.
    const QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner;
    QFile file(m_path);
    if (!file.exists()) {
        if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly, ownerOnly))
            return QStringLiteral("cannot create the history file %1: %2").arg(m_path, file.errorString());
        file.close();
    }
    file.setPermissions(ownerOnly);
    if (sqlite3_open_v2(QFile::encodeName(m_path).constData(), &m_db,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX, nullptr) != SQLITE_OK)
        return QStringLiteral("cannot open the history file %1: %2").arg(m_path, lastErrorLocked());
    sqlite3_busy_timeout(m_db, 2000);
    if (auto problem = execLocked("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"))
        return problem;
    Statement version(m_db, "PRAGMA user_version");
    const int found = version.ok() && version.step() == SQLITE_ROW ? static_cast<int>(version.integer(0)) : 0;
    if (found > schemaVersion)
        return QStringLiteral("the history file %1 was written by a newer tavrin-service").arg(m_path);
    if (auto problem = execLocked(schema))
        return QStringLiteral("the history file %1 is unusable: %2").arg(m_path, *problem);
    if (auto problem = execLocked("PRAGMA user_version = 1"))
        return problem;
    pruneLocked();
    return std::nullopt;
}

std::optional<QString> AskHistory::record(const QString& email, const Entry& entry)
{
    const std::lock_guard lock(m_mutex);
    pruneLocked();
    Statement insert(m_db,
                     "INSERT INTO asks (email, at, app, request, answer, route) VALUES (?, ?, ?, ?, ?, ?)");
    if (!insert.ok())
        return lastErrorLocked();
    insert.bind(1, email);
    insert.bind(2, m_clock().toSecsSinceEpoch());
    insert.bind(3, entry.app);
    insert.bind(4, entry.request);
    insert.bind(5, entry.answer);
    insert.bind(6, entry.route);
    if (insert.step() != SQLITE_DONE)
        return lastErrorLocked();
    return std::nullopt;
}

Result<QList<AskHistory::Entry>> AskHistory::entries(const QString& email, const QString& words, int limit)
{
    const QString match = matchQuery(words);
    const std::lock_guard lock(m_mutex);
    pruneLocked();
    Statement select(m_db, match.isEmpty()
                               ? "SELECT id, at, app, request, answer, route FROM asks WHERE email = ?1 "
                                 "ORDER BY at DESC, id DESC LIMIT ?2"
                               : "SELECT id, at, app, request, answer, route FROM asks WHERE email = ?1 "
                                 "AND id IN (SELECT rowid FROM asks_words WHERE asks_words MATCH ?3) "
                                 "ORDER BY at DESC, id DESC LIMIT ?2");
    if (!select.ok())
        return errorLocked();
    select.bind(1, email);
    select.bind(2, qint64(limit));
    if (!match.isEmpty())
        select.bind(3, match);
    QList<Entry> found;
    int step = SQLITE_ROW;
    while ((step = select.step()) == SQLITE_ROW) {
        found.append({select.integer(0), QDateTime::fromSecsSinceEpoch(select.integer(1)), select.text(2),
                      select.text(3), select.text(4), select.text(5)});
    }
    if (step != SQLITE_DONE)
        return errorLocked();
    return found;
}

Result<bool> AskHistory::remove(const QString& email, qint64 id)
{
    const std::lock_guard lock(m_mutex);
    Statement remove(m_db, "DELETE FROM asks WHERE email = ? AND id = ?");
    if (!remove.ok())
        return errorLocked();
    remove.bind(1, email);
    remove.bind(2, id);
    if (remove.step() != SQLITE_DONE)
        return errorLocked();
    return sqlite3_changes(m_db) == 1;
}

Result<void> AskHistory::removeAll(const QString& email)
{
    const std::lock_guard lock(m_mutex);
    Statement remove(m_db, "DELETE FROM asks WHERE email = ?");
    if (!remove.ok())
        return errorLocked();
    remove.bind(1, email);
    if (remove.step() != SQLITE_DONE)
        return errorLocked();
    return {};
}

QString AskHistory::matchQuery(const QString& words)
{
    static const QRegularExpression space(QStringLiteral("\\s+"));
    QStringList terms;
    for (QString word : words.split(space, Qt::SkipEmptyParts))
        terms.append(QLatin1Char('"') + word.replace(QLatin1Char('"'), QLatin1String("\"\"")) +
                     QLatin1String("\"*"));
    return terms.join(QLatin1Char(' '));
}

std::optional<QString> AskHistory::execLocked(const char* sql)
{
    char* message = nullptr;
    if (sqlite3_exec(m_db, sql, nullptr, nullptr, &message) == SQLITE_OK)
        return std::nullopt;
    const QString problem = QString::fromUtf8(message ? message : "unknown error");
    sqlite3_free(message);
    return problem;
}

void AskHistory::pruneLocked()
{
    Statement prune(m_db, "DELETE FROM asks WHERE at < ?");
    if (!prune.ok())
        return;
    prune.bind(1, m_clock().toSecsSinceEpoch() - std::chrono::seconds(m_retention).count());
    prune.step();
}

Error AskHistory::errorLocked() const
{
    return {QStringLiteral("History"), 0, lastErrorLocked()};
}

QString AskHistory::lastErrorLocked() const
{
    return QString::fromUtf8(m_db ? sqlite3_errmsg(m_db) : "out of memory");
}
