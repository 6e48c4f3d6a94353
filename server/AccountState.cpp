#include "AccountState.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

std::variant<AccountState, QString> AccountState::decode(const QByteArray& bytes)
{
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return QStringLiteral("not JSON (%1)").arg(parseError.errorString());
    const QJsonObject root = document.object();
    if (root.value("version").toInt() != 1)
        return QStringLiteral("not a version 1 state file");

    AccountState state;
    for (const QJsonValue& value : root.value("accounts").toArray()) {
        const QJsonObject object = value.toObject();
        const QString email = object.value("email").toString();
        if (email.isEmpty())
            return QStringLiteral("an account without an e-mail address");
        state.accounts.append({email, object.value("password_pbkdf2").toString(),
                               object.value("plan").toString(), object.value("role").toString()});
    }
    for (const QJsonValue& value : root.value("devices").toArray()) {
        const QJsonObject object = value.toObject();
        Device device{object.value("id").toInt(),
                      object.value("email").toString(),
                      object.value("token_sha256").toString(),
                      object.value("name").toString(),
                      object.value("client").toString(),
                      object.value("platform").toString(),
                      QDateTime::fromString(object.value("created").toString(), Qt::ISODate),
                      {}};
        device.lastUsed = device.created;
        if (device.id <= 0 || device.tokenDigest.isEmpty())
            return QStringLiteral("a device without an id or token digest");
        state.devices.append(device);
        state.nextDevice = std::max(state.nextDevice, device.id + 1);
    }
    state.nextDevice = std::max(state.nextDevice, root.value("next_device").toInt(1));
    for (const QJsonValue& value : root.value("used_invites_sha256").toArray())
        state.usedInviteDigests.insert(value.toString());
    const QJsonObject asks = root.value("usage").toObject();
    for (auto it = asks.constBegin(); it != asks.constEnd(); ++it) {
        const QJsonObject object = it.value().toObject();
        state.usage.insert(it.key(), {QDate::fromString(object.value("day").toString(), Qt::ISODate),
                                      object.value("asks").toInt()});
    }
    return state;
}
