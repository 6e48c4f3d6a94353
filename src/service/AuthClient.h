#pragma once

#include "base/Result.h"
#include "config/AgentConfig.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <optional>

// The account half of the service. Every operation returns at once and calls `done` later on the
// calling thread, unless `context` has been destroyed by then.
namespace AuthClient {

struct User
{
    QString email;
    QString plan;
    QString role;
    bool operator==(const User&) const = default;
};

struct Session
{
    QString token;
    User user;
    bool operator==(const Session&) const = default;
};

struct Pairing
{
    QString code;
    QString deepLink;
    qint64 expiresIn = 0;
    bool operator==(const Pairing&) const = default;
};

struct ServerConfig
{
    bool google = false;
    std::optional<bool> appleWeb;
    bool email = false;
    bool inviteOnly = false;
    bool operator==(const ServerConfig&) const = default;
};

// Domain of the errors in which the service itself said no.
inline const QString failureDomain = QStringLiteral("Account");

template <typename T> using Callback = std::function<void(const Result<T>&)>;

void config(const QString& server, QObject* context, Callback<ServerConfig> done);
void sendCode(const QString& server, const QString& email, QObject* context, Callback<QString> done);
void verifyCode(const QString& server, const QString& email, const QString& code, bool verify,
                QObject* context, Callback<Session> done);
void login(const QString& server, const QString& email, const QString& password, QObject* context,
           Callback<Session> done);
void pair(const QString& server, const QString& code, QObject* context, Callback<Session> done);
Result<QUrl> googleStartURL(const QString& server);
void me(const AgentConfig& config, QObject* context, Callback<User> done);
void newPairingCode(const AgentConfig& config, QObject* context, Callback<Pairing> done);
// Revokes this device on the service when it can, then always removes the stored configuration.
void signOut(const AgentConfig& config, QObject* context, std::function<void()> done);

// Judges a response: success for a 2xx status, else the service's `error` text or a generic message.
Result<void> check(int status, const QByteArray& body);

// The user-visible name of this computer, sent with every sign-in.
QString deviceName();

} // namespace AuthClient
