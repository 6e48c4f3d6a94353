#pragma once

#include "AccountSeed.h"
#include "ConnectionLimits.h"
#include "PasswordHash.h"
#include "upstream/UpstreamSettings.h"

#include <QString>
#include <QStringList>
#include <chrono>
#include <optional>
#include <variant>

// How tavrin-service was started: where it listens, who may ask, the accounts, and which engine answers.
struct ServiceOptions
{
    QString host = QStringLiteral("127.0.0.1");
    int port = 8080; // 0: any free port
    std::optional<QString> token;
    std::chrono::milliseconds wordDelay{30};
    std::optional<UpstreamSettings> upstream; // absent: the offline engine answers
    ConnectionLimits connections;

    AccountSeed seed;
    QString statePath;   // empty: accounts live in memory only
    QString mailboxPath; // empty: e-mailed codes go to the log only
    int dailyLimit = 0;  // asks per account and day; 0: no limit
    std::chrono::seconds pairingLifetime{300};
    std::chrono::days deviceExpiry{90}; // 0: device tokens never expire
    bool openSignup = false;
    // The Google stand-in signs anyone in as any existing address: for development only.
    bool googleStandIn = false;
    QString historyPath; // empty: no ask is kept
    std::chrono::days historyRetention{30};
    // A password, invite or token was given as an argument, which every local user can read.
    bool secretsOnCommandLine = false;
    // The cost of new password hashes; lower only where the hashes guard nothing, as in tests.
    int passwordRounds = PasswordHash::defaultRounds;

    // Any account option turns the account half on; without one the service knows only the shared token.
    bool hasAccounts() const
    {
        return !seed.isEmpty() || !statePath.isEmpty() || !mailboxPath.isEmpty() || openSignup;
    }

    struct Help
    {
        QString text;
    };
    // The options from the command line (element 0 is the program), --help's text, or what is wrong.
    static std::variant<ServiceOptions, Help, QString> parse(const QStringList& arguments);
};
