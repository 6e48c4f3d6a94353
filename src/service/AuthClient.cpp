#include "service/AuthClient.h"

#include "protocol/ErrorBody.h"
#include "service/Http.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSysInfo>
#include <QTimer>
#include <QUrlQuery>
#include <memory>

namespace AuthClient {
namespace {

constexpr int postTimeoutMs = 30'000;
constexpr int authorizedTimeoutMs = 20'000;
constexpr int configTimeoutMs = 60'000;
// Every account answer is a small JSON object; anything longer is not one.
constexpr qint64 maxReplyBytes = 1024 * 1024;
const QString tooLarge = QStringLiteral("The service's answer is too large to be an account answer.");

Error decodingError(const QString& what)
{
    return {QStringLiteral("Decoding"), 0,
            QStringLiteral("The service's answer could not be read: %1.").arg(what)};
}

// Reads typed members of one JSON object, remembering the first thing that was missing or mistyped.
class ObjectReader
{
public:
    explicit ObjectReader(QJsonObject object) : m_object(std::move(object)) {}

    QString string(const char* key)
    {
        const QJsonValue value = m_object.value(QLatin1String(key));
        if (!value.isString())
            fail(key, "a string");
        return value.toString();
    }
    bool boolean(const char* key)
    {
        const QJsonValue value = m_object.value(QLatin1String(key));
        if (!value.isBool())
            fail(key, "true or false");
        return value.toBool();
    }
    std::optional<bool> optionalBoolean(const char* key)
    {
        const QJsonValue value = m_object.value(QLatin1String(key));
        if (value.isUndefined() || value.isNull())
            return std::nullopt;
        return boolean(key);
    }
    std::optional<qint64> optionalInteger(const char* key)
    {
        const QJsonValue value = m_object.value(QLatin1String(key));
        if (value.isUndefined() || value.isNull())
            return std::nullopt;
        return integer(key);
    }
    qint64 integer(const char* key)
    {
        const QJsonValue value = m_object.value(QLatin1String(key));
        // QJsonValue keeps numbers as doubles: an integer is a double that both roundings agree on.
        if (!value.isDouble() || value.toInteger(0) != value.toInteger(1))
            fail(key, "a whole number");
        return value.toInteger();
    }
    ObjectReader object(const char* key)
    {
        const QJsonValue value = m_object.value(QLatin1String(key));
        if (!value.isObject())
            fail(key, "an object");
        ObjectReader nested(value.toObject());
        nested.m_problem = m_problem;
        return nested;
    }
    void adopt(const ObjectReader& nested)
    {
        if (!m_problem)
            m_problem = nested.m_problem;
    }
    const std::optional<Error>& problem() const { return m_problem; }

private:
    void fail(const char* key, const char* expected)
    {
        if (!m_problem)
            m_problem = decodingError(QStringLiteral("\"%1\" is missing or is not %2")
                                          .arg(QLatin1String(key), QLatin1String(expected)));
    }

    QJsonObject m_object;
    std::optional<Error> m_problem;
};

Result<ObjectReader> readerFor(const QByteArray& body)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return decodingError(QStringLiteral("not JSON (%1)").arg(parseError.errorString()));
    if (!document.isObject())
        return decodingError(QStringLiteral("not a JSON object"));
    return ObjectReader(document.object());
}

template <typename T, typename Decode> Result<T> decode(const QByteArray& body, Decode decodeFields)
{
    Result<ObjectReader> reader = readerFor(body);
    if (!reader.ok())
        return reader.error();
    T value = decodeFields(reader.value());
    if (reader.value().problem())
        return *reader.value().problem();
    return value;
}

User readUser(ObjectReader& reader)
{
    ObjectReader user = reader.object("user");
    User result{user.string("email"), user.string("plan"), user.string("role")};
    reader.adopt(user);
    return result;
}

Session readSession(ObjectReader& reader)
{
    Session session;
    session.token = reader.string("token");
    session.user = readUser(reader);
    return session;
}

using BodyCallback = Callback<QByteArray>;

// Runs the request and hands over the whole body, or the transport failure. With `checked`, a
// non-2xx status becomes the service's failure. Besides the inactivity time-out of the request, the
// whole call ends after `deadlineMs` (a server that drips a byte now and then never trips the other),
// and so does a body over maxReplyBytes.
void send(QNetworkReply* reply, QObject* context, bool checked, int deadlineMs, BodyCallback done)
{
    Http::keepTokenAtHome(reply);
    // Why this client cut the reply short, when it did.
    auto cutShort = std::make_shared<std::optional<Error>>();
    const auto cut = [reply, cutShort](const QString& why) {
        if (*cutShort)
            return;
        *cutShort = Error{QStringLiteral("Network"), QNetworkReply::OperationCanceledError, why};
        reply->abort();
    };
    // The read buffer is set once the headers have come, when Qt passes it on to the network thread
    // (set earlier, it is lost): beyond it, reading waits, so the excess shows here before in memory.
    QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, [reply, cut] {
        reply->setReadBufferSize(maxReplyBytes + 1);
        if (reply->header(QNetworkRequest::ContentLengthHeader).toLongLong() > maxReplyBytes)
            cut(tooLarge);
    });
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [reply, cut] {
        if (reply->bytesAvailable() > maxReplyBytes)
            cut(tooLarge);
    });
    QTimer::singleShot(deadlineMs, reply, [cut] {
        cut(QStringLiteral("The request timed out: the service took too long to answer."));
    });
    const QMetaObject::Connection delivery = QObject::connect(
        reply, &QNetworkReply::finished, context, [reply, checked, cutShort, done = std::move(done)] {
            reply->deleteLater();
            if (*cutShort) {
                done(**cutShort);
                return;
            }
            const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
            if (!status.isValid() || reply->error() == QNetworkReply::OperationCanceledError) {
                done(Http::transportError(*reply));
                return;
            }
            if (reply->bytesAvailable() > maxReplyBytes) {
                done(Error{QStringLiteral("Network"), QNetworkReply::OperationCanceledError, tooLarge});
                return;
            }
            const QByteArray body = reply->readAll();
            if (checked) {
                if (const Result<void> accepted = check(status.toInt(), body); !accepted.ok()) {
                    done(accepted.error());
                    return;
                }
            }
            if (reply->error() != QNetworkReply::NoError && status.toInt() / 100 == 2) {
                done(Http::transportError(*reply));
                return;
            }
            done(body);
        });
    // The context is still connected while it announces its end: cut the delivery first, or the abort
    // would report a failure into an object that is going away.
    QObject::connect(context, &QObject::destroyed, reply, [reply, delivery] {
        QObject::disconnect(delivery);
        reply->abort();
        reply->deleteLater();
    });
}

Result<QUrl> url(const QString& server, const QString& path)
{
    auto endpoint = Http::endpoint(server, path);
    if (auto* error = std::get_if<Error>(&endpoint))
        return *error;
    return std::get<QUrl>(endpoint);
}

template <typename T> void failLater(QObject* context, const Error& error, const Callback<T>& done)
{
    QMetaObject::invokeMethod(
        context, [error, done] { done(error); }, Qt::QueuedConnection);
}

template <typename T, typename Decode>
void post(const QString& server, const QString& path, QJsonObject fields, QObject* context, Callback<T> done,
          Decode decodeBody)
{
    fields.insert(QStringLiteral("client"), QStringLiteral("app"));
    fields.insert(QStringLiteral("platform"), QStringLiteral("mac"));
    fields.insert(QStringLiteral("name"), deviceName());
    const Result<QUrl> address = url(server, path);
    if (!address.ok()) {
        failLater(context, address.error(), done);
        return;
    }
    QNetworkRequest request = Http::request(address.value());
    request.setTransferTimeout(postTimeoutMs);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    QNetworkReply* reply =
        Http::network().post(request, QJsonDocument(fields).toJson(QJsonDocument::Compact));
    send(reply, context, true, postTimeoutMs, [done, decodeBody](const Result<QByteArray>& body) {
        if (!body.ok())
            done(body.error());
        else
            done(decodeBody(body.value()));
    });
}

void postForSession(const QString& server, const QString& path, const QJsonObject& fields, QObject* context,
                    Callback<Session> done)
{
    post<Session>(server, path, fields, context, std::move(done),
                  [](const QByteArray& body) { return decode<Session>(body, readSession); });
}

enum class Verb { Get, Post, Delete };

// An authenticated call with the device token. Without `checked`, any answer counts as a body.
void authorized(const AgentConfig& config, const QString& path, Verb verb, QObject* context, bool checked,
                BodyCallback done)
{
    const Result<QUrl> address = url(config.serverURL, path);
    if (!address.ok()) {
        failLater(context, address.error(), done);
        return;
    }
    QNetworkRequest request = Http::request(address.value());
    request.setTransferTimeout(authorizedTimeoutMs);
    request.setRawHeader("Authorization", "Bearer " + config.token.toUtf8());
    if (verb == Verb::Post) {
        // No body, and saying so: a server may otherwise wait for one until its read time-out.
        request.setHeader(QNetworkRequest::ContentLengthHeader, 0);
    }
    QNetworkAccessManager& network = Http::network();
    QNetworkReply* reply = verb == Verb::Get    ? network.get(request)
                           : verb == Verb::Post ? network.sendCustomRequest(request, "POST")
                                                : network.deleteResource(request);
    send(reply, context, checked, authorizedTimeoutMs, std::move(done));
}

template <typename T, typename Decode>
void authorizedRecord(const AgentConfig& config, const QString& path, Verb verb, QObject* context,
                      Callback<T> done, Decode decodeFields)
{
    authorized(config, path, verb, context, true, [done, decodeFields](const Result<QByteArray>& body) {
        if (!body.ok())
            done(body.error());
        else
            done(decode<T>(body.value(), decodeFields));
    });
}

} // namespace

Result<void> check(int status, const QByteArray& body)
{
    if (status >= 200 && status <= 299)
        return {};
    return Error{failureDomain, status,
                 ErrorBody::reason(body).value_or(QStringLiteral("Server returned HTTP %1").arg(status))};
}

QString deviceName()
{
    QFile machineInfo(QStringLiteral("/etc/machine-info"));
    if (machineInfo.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : machineInfo.readAll().split('\n')) {
            if (!line.startsWith("PRETTY_HOSTNAME="))
                continue;
            QByteArray value = line.mid(16).trimmed();
            if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
                value.back() == value.front())
                value = value.mid(1, value.size() - 2);
            if (!value.isEmpty())
                return QString::fromUtf8(value);
        }
    }
    const QString host = QSysInfo::machineHostName();
    return host.isEmpty() ? QStringLiteral("Mac") : host;
}

void config(const QString& server, QObject* context, Callback<ServerConfig> done)
{
    const Result<QUrl> address = url(server, QStringLiteral("auth/config"));
    if (!address.ok()) {
        failLater(context, address.error(), done);
        return;
    }
    QNetworkRequest request = Http::request(address.value());
    request.setTransferTimeout(configTimeoutMs);
    send(Http::network().get(request), context, true, configTimeoutMs,
         [done](const Result<QByteArray>& body) {
             if (!body.ok()) {
                 done(body.error());
                 return;
             }
             done(decode<ServerConfig>(body.value(), [](ObjectReader& reader) {
                 ServerConfig config;
                 config.google = reader.boolean("google");
                 config.appleWeb = reader.optionalBoolean("apple_web");
                 config.email = reader.boolean("email");
                 config.inviteOnly = reader.boolean("invite_only");
                 return config;
             }));
         });
}

void sendCode(const QString& server, const QString& email, QObject* context, Callback<QString> done)
{
    post<QString>(
        server, QStringLiteral("auth/code"), {{QStringLiteral("email"), email}}, context, std::move(done),
        [](const QByteArray& body) {
            const QJsonValue purpose = QJsonDocument::fromJson(body).object().value(QLatin1String("purpose"));
            return Result<QString>(purpose.isString() ? purpose.toString() : QStringLiteral("login"));
        });
}

void verifyCode(const QString& server, const QString& email, const QString& code, bool verify,
                QObject* context, Callback<Session> done)
{
    postForSession(server, verify ? QStringLiteral("auth/verify") : QStringLiteral("auth/code/verify"),
                   {{QStringLiteral("email"), email}, {QStringLiteral("code"), code}}, context,
                   std::move(done));
}

void login(const QString& server, const QString& email, const QString& password, QObject* context,
           Callback<Session> done)
{
    postForSession(server, QStringLiteral("auth/login"),
                   {{QStringLiteral("email"), email}, {QStringLiteral("password"), password}}, context,
                   std::move(done));
}

void pair(const QString& server, const QString& code, QObject* context, Callback<Session> done)
{
    postForSession(server, QStringLiteral("auth/pair"), {{QStringLiteral("code"), code}}, context,
                   std::move(done));
}

Result<QUrl> googleStartURL(const QString& server)
{
    Result<QUrl> address = url(server, QStringLiteral("auth/google/start"));
    if (!address.ok())
        return address;
    QUrl start = address.value();
    start.setQuery(QUrlQuery{{QStringLiteral("client"), QStringLiteral("app")}});
    return start;
}

void me(const AgentConfig& config, QObject* context, Callback<User> done)
{
    authorizedRecord<User>(config, QStringLiteral("v1/me"), Verb::Get, context, std::move(done), readUser);
}

void newPairingCode(const AgentConfig& config, QObject* context, Callback<Pairing> done)
{
    authorizedRecord<Pairing>(
        config, QStringLiteral("v1/pairing"), Verb::Post, context, std::move(done), [](ObjectReader& reader) {
            return Pairing{reader.string("code"), reader.string("deep_link"), reader.integer("expires_in")};
        });
}

void signOut(const AgentConfig& config, QObject* context, std::function<void()> done)
{
    const auto finish = [done] {
        AgentConfig::remove();
        done();
    };
    authorized(config, QStringLiteral("v1/devices"), Verb::Get, context, false,
               [config, context, finish](const Result<QByteArray>& body) {
                   std::optional<qint64> current;
                   if (body.ok()) {
                       if (Result<ObjectReader> reader = readerFor(body.value()); reader.ok()) {
                           current = reader.value().optionalInteger("current");
                           if (reader.value().problem())
                               current.reset();
                       }
                   }
                   if (!current) {
                       finish();
                       return;
                   }
                   authorized(config, QStringLiteral("v1/devices/%1").arg(*current), Verb::Delete, context,
                              false, [finish](const Result<QByteArray>&) { finish(); });
               });
}

} // namespace AuthClient
