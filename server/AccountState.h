#pragma once

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <variant>

// Everything the account half keeps across restarts, and the JSON state file of earlier versions, which
// is read once to migrate it. Secrets appear only as digests: PBKDF2 hashes of passwords, SHA-256 of
// device tokens and of used invite codes.
struct AccountState
{
    struct Account
    {
        QString email;
        QString passwordHash; // empty: the account signs in only by code or Google
        QString plan;
        QString role;
    };
    struct Device
    {
        int id = 0;
        QString email;
        QString tokenDigest;
        QString name;
        QString client;
        QString platform;
        QDateTime created;
        QDateTime lastUsed;
    };
    struct Usage
    {
        QDate day;
        int asks = 0;
    };

    QList<Account> accounts;
    QList<Device> devices;
    int nextDevice = 1;
    QSet<QString> usedInviteDigests;
    QHash<QString, Usage> usage; // by e-mail address

    // The state in a JSON state file's bytes, or why they are not one.
    static std::variant<AccountState, QString> decode(const QByteArray& bytes);
};
