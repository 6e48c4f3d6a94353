#pragma once

#include "AccountState.h"

#include <QString>
#include <QVariant>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

struct sqlite3;

// The account state on disk: an SQLite database in WAL mode, one small transaction per change, so that
// a change the caller has heard of survives a crash. Opening migrates the JSON state file of earlier
// versions (kept beside it as FILE.json-before-sqlite). An empty path keeps the state in memory.
class StateDatabase
{
public:
    static constexpr int schemaVersion = 1;

    ~StateDatabase();
    StateDatabase(const StateDatabase&) = delete;
    StateDatabase& operator=(const StateDatabase&) = delete;

    // The database and the state it holds, or why it cannot be opened.
    static std::variant<std::unique_ptr<StateDatabase>, QString> open(const QString& path,
                                                                      AccountState& loaded);

    // Each returns why the change could not be saved, or nothing.
    std::optional<QString> saveAccount(const AccountState::Account& account);
    // Gives the device its id.
    std::optional<QString> addDevice(AccountState::Device& device);
    std::optional<QString> removeDevices(const QList<int>& ids);
    std::optional<QString> touchDevice(int id, const QDateTime& used);
    std::optional<QString> useInvite(const QString& digest);
    std::optional<QString> saveUsage(const QString& email, const AccountState::Usage& usage);
    // Runs the changes as one transaction: all of them are saved, or none.
    std::optional<QString> together(const std::function<std::optional<QString>()>& changes);

private:
    explicit StateDatabase(sqlite3* database);
    std::optional<QString> run(const char* sql, const QVariantList& values = {});
    std::optional<QString> createSchema();
    std::optional<QString> read(AccountState& state);
    std::optional<QString> import(const AccountState& state);
    QString lastError() const;

    sqlite3* m_database;
};
