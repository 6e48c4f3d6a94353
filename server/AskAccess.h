#pragma once

#include "AccountStore.h"

#include <QString>
#include <optional>

// Who may use the ask route: the holder of the shared token, when the service has one, and every
// signed-in device of an account, within the account's daily limit.
class AskAccess
{
public:
    struct Caller
    {
        QString name;                   // for the log: "shared token" or the account, never a token
        std::optional<QString> account; // the account whose limit the ask counts against
    };

    AskAccess(std::optional<QString> sharedToken, AccountStore* accounts);

    // The caller behind a bearer token, or nothing when it opens no door.
    std::optional<Caller> admit(const QString& bearerToken) const;
    // Counts one ask for the caller: nothing when it may go ahead, else why not (402 at the limit).
    std::optional<AccountStore::Refusal> charge(const Caller& caller) const;

private:
    std::optional<QString> m_sharedToken;
    AccountStore* m_accounts;
};
