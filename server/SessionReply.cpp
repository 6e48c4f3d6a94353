#include "SessionReply.h"

#include "JsonReply.h"

#include <QRegularExpression>
#include <QUrl>
#include <QUrlQuery>
#include <httplib.h>

namespace SessionReply {

AccountStore::DeviceFields deviceFields(const QJsonObject& body)
{
    const auto field = [&body](const char* key) {
        const QString value = body.value(QLatin1String(key)).toString().trimmed();
        return value.isEmpty() ? QStringLiteral("unknown") : value.left(200);
    };
    return {field("name"), field("client"), field("platform")};
}

QJsonObject user(const AccountStore::User& user)
{
    return {{QStringLiteral("email"), user.email},
            {QStringLiteral("plan"), user.plan},
            {QStringLiteral("role"), user.role}};
}

void refusal(httplib::Response& response, const AccountStore::Refusal& refusal)
{
    JsonReply::error(response, refusal.status, refusal.message);
}

void session(httplib::Response& response, const AccountStore::Outcome<AccountStore::SignedIn>& outcome)
{
    if (const auto* refused = std::get_if<AccountStore::Refusal>(&outcome)) {
        refusal(response, *refused);
        return;
    }
    const auto& signedIn = std::get<AccountStore::SignedIn>(outcome);
    JsonReply::object(
        response, 200,
        {{QStringLiteral("token"), signedIn.token}, {QStringLiteral("user"), user(signedIn.user)}});
}

bool looksLikeEmail(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral("^[^@\\s]+@[^@\\s]+\\.[^@\\s]+$"));
    return pattern.match(text.trimmed()).hasMatch();
}

QString client(const httplib::Request& request)
{
    return QString::fromStdString(request.remote_addr);
}

QString duration(std::chrono::seconds wait)
{
    if (wait.count() <= 90)
        return wait.count() == 1 ? QStringLiteral("1 second")
                                 : QStringLiteral("%1 seconds").arg(wait.count());
    return QStringLiteral("%1 minutes").arg((wait.count() + 59) / 60);
}

QString pairingLink(const QString& server, const QString& code)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("server"), server);
    query.addQueryItem(QStringLiteral("code"), code);
    QUrl link;
    link.setScheme(QStringLiteral("morvik"));
    link.setHost(QStringLiteral("pair"));
    link.setQuery(query);
    return link.toString(QUrl::FullyEncoded);
}

} // namespace SessionReply
