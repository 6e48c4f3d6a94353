#include "ServiceOptions.h"

#include "upstream/UpstreamOptions.h"

#include <QCommandLineParser>
#include <QFile>

namespace {

constexpr int maxWordDelayMs = 10000;
constexpr int maxPairingSeconds = 86400;
constexpr int maxConnectionCount = 16384;
constexpr int maxExpiryDays = 3650;

std::optional<int> integer(const QString& text, int low, int high)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < low || value > high)
        return std::nullopt;
    return value;
}

QCommandLineOption option(const QString& name, const QString& description, const QString& value = {},
                          const QString& defaultValue = {})
{
    return QCommandLineOption(name, description, value, defaultValue);
}

constexpr qint64 maxSecretFileBytes = 4096;

// The first line of a small file that holds a secret; nothing when it cannot be read or holds none.
std::optional<QString> firstLine(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QString line = QString::fromUtf8(file.read(maxSecretFileBytes).split('\n').constFirst()).trimmed();
    if (line.isEmpty())
        return std::nullopt;
    return line;
}

} // namespace

std::variant<ServiceOptions, ServiceOptions::Help, QString>
ServiceOptions::parse(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("The reference service of the Tavrin agent: the account API and the ask stream."));
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help."));
    const auto host = option("host", "Address to listen on (127.0.0.1).", "ADDRESS", "127.0.0.1");
    const auto port = option("port",
                             "Port to listen on (8080); 0 picks a free one. The chosen address is printed as "
                             "\"listening on URL\".",
                             "PORT", "8080");
    const auto token = option("token",
                              "Shared bearer token accepted by v1/ask. Arguments are visible to every local "
                              "user: prefer --token-file or TAVRIN_SERVICE_TOKEN.",
                              "TOKEN");
    const auto tokenFile = option("token-file", "File whose first line is the shared bearer token.", "FILE");
    const auto wordDelay =
        option("word-delay", "Pause of the offline engine between words (30 ms).", "MS", "30");
    const auto account =
        option("account", "An account that signs in with this password (repeatable).", "EMAIL:PASSWORD");
    const auto invite = option("invite", "An invite code that creates one account (repeatable).", "CODE");
    const auto accounts = option("accounts",
                                 "JSON file of accounts and invites (the way to give passwords and invites "
                                 "that other local users cannot see).",
                                 "FILE");
    const auto state = option("state",
                              "SQLite database that keeps accounts and devices across restarts (default: "
                              "none, in memory). A JSON state file of earlier versions is migrated.",
                              "FILE");
    const auto deviceExpiry =
        option("device-expiry-days",
               "Days after which an unused device token stops working; 0 is never (90).", "DAYS", "90");
    const auto mailbox =
        option("mailbox",
               "File that receives the e-mailed codes, owner-only (the log names the address only).", "FILE");
    const auto dailyLimit = option("daily-limit", "Asks per account and day; 0 is no limit (0).", "N", "0");
    const auto pairingTtl =
        option("pairing-ttl", "Lifetime of pairing codes in seconds (300).", "SECONDS", "300");
    const auto openSignup = option("open-signup", "Let new addresses create accounts without an invite.");
    const auto googleStandIn =
        option("dev-google-stand-in",
               "Development only: serve a stand-in for Google sign-in on which anyone can sign in as any "
               "existing address, without a password.");
    const auto maxConnections = option(
        "max-connections", "Connections served at once (1024); more wait in the listen queue.", "N", "1024");
    const auto perClient = option("max-connections-per-client",
                                  "Connections at once from one client address (128).", "N", "128");
    const auto bodyMemory =
        option("max-body-memory",
               "MiB that the request bodies being received on all connections may take together (64); a body "
               "beyond gets 503.",
               "MIB", "64");
    const auto history = option("history",
                                "Keep each account's asks and answers in this SQLite file, for the account's "
                                "history page (default: none kept).",
                                "FILE");
    const auto historyDays =
        option("history-days", "Days after which a kept ask is deleted (30).", "DAYS", "30");
    parser.addOptions({help,           host,       port,       token,         tokenFile,    wordDelay,
                       account,        invite,     accounts,   state,         deviceExpiry, mailbox,
                       dailyLimit,     pairingTtl, openSignup, googleStandIn, history,      historyDays,
                       maxConnections, perClient,  bodyMemory});
    parser.addOptions(UpstreamOptions::all());
    if (!parser.parse(arguments))
        return parser.errorText();
    if (parser.isSet(help))
        return Help{parser.helpText()};
    if (!parser.positionalArguments().isEmpty())
        return QStringLiteral("Unexpected argument: %1").arg(parser.positionalArguments().constFirst());

    ServiceOptions options;
    options.host = parser.value(host);
    const std::optional<int> portNumber = integer(parser.value(port), 0, 65535);
    if (!portNumber)
        return QStringLiteral("--port needs a number from 0 to 65535, not \"%1\".").arg(parser.value(port));
    options.port = *portNumber;
    const std::optional<int> delay = integer(parser.value(wordDelay), 0, maxWordDelayMs);
    if (!delay)
        return QStringLiteral("--word-delay needs a number of milliseconds from 0 to %1.")
            .arg(maxWordDelayMs);
    options.wordDelay = std::chrono::milliseconds(*delay);
    if (parser.isSet(token) && parser.isSet(tokenFile))
        return QStringLiteral("Give the shared token once: --token or --token-file.");
    QString sharedToken = qEnvironmentVariable("TAVRIN_SERVICE_TOKEN");
    if (parser.isSet(token)) {
        sharedToken = parser.value(token);
        if (sharedToken.isEmpty())
            return QStringLiteral("--token needs a non-empty token.");
    }
    if (parser.isSet(tokenFile)) {
        const std::optional<QString> read = firstLine(parser.value(tokenFile));
        if (!read)
            return QStringLiteral("Could not read a token from %1.").arg(parser.value(tokenFile));
        sharedToken = *read;
    }
    if (!sharedToken.isEmpty())
        options.token = sharedToken;
    options.secretsOnCommandLine =
        parser.isSet(token) || !parser.values(account).isEmpty() || !parser.values(invite).isEmpty();

    if (parser.isSet(accounts)) {
        auto read = AccountSeed::readFile(parser.value(accounts));
        if (const QString* problem = std::get_if<QString>(&read))
            return *problem;
        options.seed = std::get<AccountSeed>(std::move(read));
    }
    for (const QString& text : parser.values(account)) {
        const auto parsed = AccountSeed::parseAccount(text);
        if (const QString* problem = std::get_if<QString>(&parsed))
            return *problem;
        options.seed.accounts.append(std::get<AccountSeed::Account>(parsed));
    }
    options.seed.invites += parser.values(invite);
    options.statePath = parser.value(state);
    options.mailboxPath = parser.value(mailbox);
    const std::optional<int> limit = integer(parser.value(dailyLimit), 0, 1000000);
    if (!limit)
        return QStringLiteral("--daily-limit needs a number of asks, 0 for no limit.");
    options.dailyLimit = *limit;
    const std::optional<int> lifetime = integer(parser.value(pairingTtl), 1, maxPairingSeconds);
    if (!lifetime)
        return QStringLiteral("--pairing-ttl needs a number of seconds from 1 to %1.").arg(maxPairingSeconds);
    options.pairingLifetime = std::chrono::seconds(*lifetime);
    const std::optional<int> expiry = integer(parser.value(deviceExpiry), 0, maxExpiryDays);
    if (!expiry)
        return QStringLiteral("--device-expiry-days needs a number of days from 0 to %1.").arg(maxExpiryDays);
    options.deviceExpiry = std::chrono::days(*expiry);
    options.openSignup = parser.isSet(openSignup);
    options.googleStandIn = parser.isSet(googleStandIn);
    const std::optional<int> connections = integer(parser.value(maxConnections), 1, maxConnectionCount);
    if (!connections)
        return QStringLiteral("--max-connections needs a number from 1 to %1.").arg(maxConnectionCount);
    options.connections.maxConnections = *connections;
    const std::optional<int> fromOne = integer(parser.value(perClient), 1, maxConnectionCount);
    if (!fromOne)
        return QStringLiteral("--max-connections-per-client needs a number from 1 to %1.")
            .arg(maxConnectionCount);
    options.connections.maxConnectionsPerClient = *fromOne;
    // At least one body of the largest size must fit.
    const std::optional<int> bodyMiB = integer(parser.value(bodyMemory), 4, 65536);
    if (!bodyMiB)
        return QStringLiteral("--max-body-memory needs a number of MiB from 4 to 65536.");
    options.connections.maxBodyBytesInFlight = std::size_t(*bodyMiB) * 1024 * 1024;
    options.historyPath = parser.value(history);
    const std::optional<int> keptDays = integer(parser.value(historyDays), 1, 3650);
    if (!keptDays)
        return QStringLiteral("--history-days needs a number of days from 1 to 3650.");
    options.historyRetention = std::chrono::days(*keptDays);
    if (!options.historyPath.isEmpty() && !options.hasAccounts())
        return QStringLiteral("--history keeps the asks of accounts: give accounts (--account, --accounts) "
                              "or a state file (--state) too.");

    auto upstream = UpstreamOptions::read(parser);
    if (const QString* problem = std::get_if<QString>(&upstream))
        return *problem;
    options.upstream = std::get<std::optional<UpstreamSettings>>(std::move(upstream));

    if (!options.token && !options.hasAccounts())
        return QStringLiteral(
            "Nobody could ask: give a shared token (--token), accounts (--account, --accounts) "
            "or a state file (--state).");
    return options;
}
