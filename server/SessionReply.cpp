#include "SessionReply.h"

#include "JsonReply.h"

#include <QRegularExpression>

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

} // namespace SessionReply
