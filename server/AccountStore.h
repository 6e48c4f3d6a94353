#pragma once

#include "AccountState.h"
#include "Clock.h"
#include "PasswordHash.h"
#include "StateDatabase.h"

#include <QSet>
#include <QString>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <variant>

// The accounts, their signed-in devices, invite codes and daily ask counts. Safe to use from the
// server's worker threads; every change is saved in one transaction of the state database before the
// caller hears of it. Devices whose token has not been used for a while are signed out.
class AccountStore
{
public:
    struct Settings
    {
        QString statePath;                  // empty: in memory only
        int dailyLimit = 0;                 // asks per account and day; 0: no limit
        bool openSignup = false;            // new addresses may create an account without an invite
        std::chrono::days deviceExpiry{90}; // unused this long, a device token stops working; 0: never
        int passwordRounds = PasswordHash::defaultRounds; // for new hashes; stored ones name their own
    };
    struct User
    {
        QString email;
        QString plan;
        QString role;
    };
    struct SignedIn
    {
        QString token;
        User user;
    };
    struct DeviceFields
    {
        QString name;
        QString client;
        QString platform;
    };
    struct Caller
    {
        QString email;
        int device = 0;
    };
    // Why a request is refused: the HTTP status and the sentence for the user.
    struct Refusal
    {
        int status = 400;
        QString message;
    };
    template <typename T> using Outcome = std::variant<T, Refusal>;

    AccountStore(Settings settings, Clock clock);

    // Opens the state (migrating a JSON state file); why it could not, otherwise nothing. Before anything
    // else.
    std::optional<QString> load();
    // Accounts and invites given when the service starts. A given password replaces a different one.
    std::optional<QString> ensureAccount(const QString& email, const QString& password, const QString& plan,
                                         const QString& role);
    void addInvite(const QString& code);

    bool openSignup() const { return m_settings.openSignup; }
    bool hasAccount(const QString& email);
    std::optional<User> user(const QString& email);

    Outcome<SignedIn> login(const QString& email, const QString& password, const DeviceFields& device);
    // A new device for an account whose address was just proven (e-mailed code, pairing, Google).
    Outcome<SignedIn> signIn(const QString& email, const DeviceFields& device);
    // A new account without a password, where anyone may sign up; nothing when it was created.
    std::optional<Refusal> createAccount(const QString& email);
    Outcome<SignedIn> signUpWithInvite(const QString& email, const QString& invite,
                                       const DeviceFields& device);

    std::optional<Caller> authenticate(const QString& token);
    QList<AccountState::Device> devices(const QString& email);
    Outcome<int> revoke(const Caller& caller, int device);
    // Counts one ask against today's limit: nothing when it may go ahead.
    std::optional<Refusal> countAsk(const QString& email);
    // The asks counted today; asks are counted only when there is a daily limit.
    int asksToday(const QString& email);
    int dailyLimit() const { return m_settings.dailyLimit; }

    static QString normalized(const QString& email);

private:
    AccountState::Account* findLocked(const QString& email);
    Outcome<SignedIn> addDeviceLocked(const AccountState::Account& account, const DeviceFields& device);
    std::optional<Refusal> createLocked(const QString& email);
    bool expiredLocked(const AccountState::Device& device, const QDateTime& now) const;
    static Refusal notSaved(const QString& problem);

    Settings m_settings;
    // Hashing for unknown addresses too keeps a login's duration from telling which addresses exist.
    QString m_decoyHash;
    Clock m_clock;
    std::mutex m_mutex;
    AccountState m_state;
    std::unique_ptr<StateDatabase> m_database;
    QSet<QString> m_invites;
};
