#include "StateDatabase.h"

#include <QFile>
#include <sqlite3.h>
#include <sys/stat.h>

namespace {

const char schema[] =
    "CREATE TABLE accounts (email TEXT PRIMARY KEY, password_pbkdf2 TEXT NOT NULL,"
    " plan TEXT NOT NULL, role TEXT NOT NULL);"
    "CREATE TABLE devices (id INTEGER PRIMARY KEY AUTOINCREMENT, email TEXT NOT NULL,"
    " token_sha256 TEXT NOT NULL UNIQUE, name TEXT NOT NULL, client TEXT NOT NULL,"
    " platform TEXT NOT NULL, created TEXT NOT NULL, last_used TEXT NOT NULL);"
    "CREATE TABLE used_invites (digest TEXT PRIMARY KEY);"
    "CREATE TABLE usage (email TEXT PRIMARY KEY, day TEXT NOT NULL, asks INTEGER NOT NULL);";

constexpr int busyTimeoutMs = 5000;

QString isoTime(const QDateTime& time)
{
    return time.toUTC().toString(Qt::ISODateWithMs);
}

QString text(sqlite3_stmt* statement, int column)
{
    return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(statement, column)));
}

bool isSqlite(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(16) == QByteArray("SQLite format 3", 16);
}

// A state file of the JSON kind, read before it is moved aside.
std::variant<AccountState, QString> readJson(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("Could not read %1: %2").arg(path, file.errorString());
    auto decoded = AccountState::decode(file.readAll());
    if (const QString* problem = std::get_if<QString>(&decoded))
        return QStringLiteral("%1 is not a state file of this service: %2").arg(path, *problem);
    return decoded;
}

} // namespace

StateDatabase::StateDatabase(sqlite3* database) : m_database(database) {}

StateDatabase::~StateDatabase()
{
    sqlite3_close(m_database);
}

std::variant<std::unique_ptr<StateDatabase>, QString> StateDatabase::open(const QString& path,
                                                                          AccountState& loaded)
{
    std::optional<AccountState> migrating;
    const QString backup = path + QStringLiteral(".json-before-sqlite");
    if (!path.isEmpty() && QFile::exists(path) && !isSqlite(path)) {
        auto json = readJson(path);
        if (const QString* problem = std::get_if<QString>(&json))
            return *problem;
        migrating = std::get<AccountState>(std::move(json));
        if (QFile::exists(backup) || !QFile::rename(path, backup))
            return QStringLiteral("Could not move %1 aside to %2 to migrate it.").arg(path, backup);
    }
    sqlite3* handle = nullptr;
    const QByteArray file = path.isEmpty() ? QByteArray(":memory:") : QFile::encodeName(path);
    // Owner-only from the start: the database holds password hashes and token digests.
    const mode_t previous = ::umask(077);
    const int opened =
        sqlite3_open_v2(file.constData(), &handle,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
    ::umask(previous);
    std::unique_ptr<StateDatabase> database(new StateDatabase(handle));
    const auto failed = [&](const QString& problem) {
        if (migrating)
            QFile::rename(backup, path);
        return QStringLiteral("%1: %2").arg(path.isEmpty() ? QStringLiteral("state") : path, problem);
    };
    if (opened != SQLITE_OK)
        return failed(database->lastError());
    sqlite3_busy_timeout(handle, busyTimeoutMs);
    if (auto problem = database->run("PRAGMA journal_mode=WAL"))
        return failed(*problem);
    if (auto problem = database->run("PRAGMA synchronous=FULL"))
        return failed(*problem);
    if (auto problem = database->createSchema())
        return failed(*problem);
    if (migrating) {
        if (auto problem = database->import(*migrating))
            return failed(*problem);
    }
    if (auto problem = database->read(loaded))
        return failed(*problem);
    return database;
}

std::optional<QString> StateDatabase::createSchema()
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(m_database, "PRAGMA user_version", -1, &statement, nullptr) != SQLITE_OK)
        return lastError();
    const int version = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int(statement, 0) : -1;
    sqlite3_finalize(statement);
    if (version == schemaVersion)
        return std::nullopt;
    if (version != 0)
        return QStringLiteral("state of schema version %1, which this service does not know").arg(version);
    return together([this]() -> std::optional<QString> {
        if (sqlite3_exec(m_database, schema, nullptr, nullptr, nullptr) != SQLITE_OK)
            return lastError();
        return run("PRAGMA user_version = 1");
    });
}

std::optional<QString> StateDatabase::import(const AccountState& state)
{
    return together([&]() -> std::optional<QString> {
        for (const AccountState::Account& account : state.accounts) {
            if (auto problem = saveAccount(account))
                return problem;
        }
        for (AccountState::Device device : state.devices) {
            if (auto problem = run("INSERT INTO devices VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
                                   {device.id, device.email, device.tokenDigest, device.name, device.client,
                                    device.platform, isoTime(device.created), isoTime(device.created)}))
                return problem;
        }
        // Ids of revoked devices are not given out again.
        if (auto problem = run("INSERT INTO sqlite_sequence (name, seq) SELECT 'devices', 0 WHERE NOT EXISTS "
                               "(SELECT 1 FROM sqlite_sequence WHERE name = 'devices')"))
            return problem;
        if (auto problem = run("UPDATE sqlite_sequence SET seq = max(seq, ?) WHERE name = 'devices'",
                               {state.nextDevice - 1}))
            return problem;
        for (const QString& digest : state.usedInviteDigests) {
            if (auto problem = useInvite(digest))
                return problem;
        }
        for (auto it = state.usage.constBegin(); it != state.usage.constEnd(); ++it) {
            if (auto problem = saveUsage(it.key(), it.value()))
                return problem;
        }
        return std::nullopt;
    });
}

std::optional<QString> StateDatabase::read(AccountState& state)
{
    state = {};
    const auto each = [this](const char* sql,
                             const std::function<void(sqlite3_stmt*)>& row) -> std::optional<QString> {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(m_database, sql, -1, &statement, nullptr) != SQLITE_OK)
            return lastError();
        int step = SQLITE_ROW;
        while ((step = sqlite3_step(statement)) == SQLITE_ROW)
            row(statement);
        sqlite3_finalize(statement);
        return step == SQLITE_DONE ? std::nullopt : std::optional<QString>(lastError());
    };
    if (auto problem = each("SELECT email, password_pbkdf2, plan, role FROM accounts", [&](sqlite3_stmt* s) {
            state.accounts.append({text(s, 0), text(s, 1), text(s, 2), text(s, 3)});
        }))
        return problem;
    if (auto problem =
            each("SELECT id, email, token_sha256, name, client, platform, created, last_used FROM devices",
                 [&](sqlite3_stmt* s) {
                     state.devices.append({sqlite3_column_int(s, 0), text(s, 1), text(s, 2), text(s, 3),
                                           text(s, 4), text(s, 5),
                                           QDateTime::fromString(text(s, 6), Qt::ISODateWithMs),
                                           QDateTime::fromString(text(s, 7), Qt::ISODateWithMs)});
                 }))
        return problem;
    if (auto problem = each("SELECT digest FROM used_invites",
                            [&](sqlite3_stmt* s) { state.usedInviteDigests.insert(text(s, 0)); }))
        return problem;
    return each("SELECT email, day, asks FROM usage", [&](sqlite3_stmt* s) {
        state.usage.insert(text(s, 0),
                           {QDate::fromString(text(s, 1), Qt::ISODate), sqlite3_column_int(s, 2)});
    });
}

std::optional<QString> StateDatabase::saveAccount(const AccountState::Account& account)
{
    return run("INSERT INTO accounts VALUES (?, ?, ?, ?) ON CONFLICT (email) DO UPDATE SET "
               "password_pbkdf2 = excluded.password_pbkdf2, plan = excluded.plan, role = excluded.role",
               {account.email, account.passwordHash, account.plan, account.role});
}

std::optional<QString> StateDatabase::addDevice(AccountState::Device& device)
{
    if (auto problem =
            run("INSERT INTO devices (email, token_sha256, name, client, platform, created, last_used) "
                "VALUES (?, ?, ?, ?, ?, ?, ?)",
                {device.email, device.tokenDigest, device.name, device.client, device.platform,
                 isoTime(device.created), isoTime(device.lastUsed)}))
        return problem;
    device.id = static_cast<int>(sqlite3_last_insert_rowid(m_database));
    return std::nullopt;
}

std::optional<QString> StateDatabase::removeDevices(const QList<int>& ids)
{
    return together([&]() -> std::optional<QString> {
        for (const int id : ids) {
            if (auto problem = run("DELETE FROM devices WHERE id = ?", {id}))
                return problem;
        }
        return std::nullopt;
    });
}

std::optional<QString> StateDatabase::touchDevice(int id, const QDateTime& used)
{
    return run("UPDATE devices SET last_used = ? WHERE id = ?", {isoTime(used), id});
}

std::optional<QString> StateDatabase::useInvite(const QString& digest)
{
    return run("INSERT OR IGNORE INTO used_invites VALUES (?)", {digest});
}

std::optional<QString> StateDatabase::saveUsage(const QString& email, const AccountState::Usage& usage)
{
    return run("INSERT INTO usage VALUES (?, ?, ?) ON CONFLICT (email) DO UPDATE SET day = excluded.day, "
               "asks = excluded.asks",
               {email, usage.day.toString(Qt::ISODate), usage.asks});
}

std::optional<QString> StateDatabase::together(const std::function<std::optional<QString>()>& changes)
{
    if (auto problem = run("BEGIN IMMEDIATE"))
        return problem;
    if (auto problem = changes()) {
        run("ROLLBACK");
        return problem;
    }
    return run("COMMIT");
}

std::optional<QString> StateDatabase::run(const char* sql, const QVariantList& values)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(m_database, sql, -1, &statement, nullptr) != SQLITE_OK)
        return lastError();
    for (int i = 0; i < values.size(); ++i) {
        const QVariant& value = values.at(i);
        if (value.typeId() == QMetaType::Int || value.typeId() == QMetaType::LongLong)
            sqlite3_bind_int64(statement, i + 1, value.toLongLong());
        else
            sqlite3_bind_text(statement, i + 1, value.toString().toUtf8().constData(), -1, SQLITE_TRANSIENT);
    }
    int step = SQLITE_ROW;
    while ((step = sqlite3_step(statement)) == SQLITE_ROW) {
    }
    sqlite3_finalize(statement);
    if (step != SQLITE_DONE)
        return lastError();
    return std::nullopt;
}

QString StateDatabase::lastError() const
{
    return QString::fromUtf8(sqlite3_errmsg(m_database));
}
