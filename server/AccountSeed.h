#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <variant>

// The accounts and invite codes the service starts with, from options or a JSON file:
// {"accounts": [{"email": ..., "password": ..., "plan": ..., "role": ...}], "invites": ["..."]}
struct AccountSeed
{
    struct Account
    {
        QString email;
        QString password;
        QString plan; // empty: the default plan
        QString role; // empty: the default role
    };

    QList<Account> accounts;
    QStringList invites;

    bool isEmpty() const { return accounts.isEmpty() && invites.isEmpty(); }

    // "EMAIL:PASSWORD", split at the first colon.
    static std::variant<Account, QString> parseAccount(const QString& text);
    static std::variant<AccountSeed, QString> readFile(const QString& path);
};
