#include "AccountSeed.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

std::variant<AccountSeed::Account, QString> AccountSeed::parseAccount(const QString& text)
{
    const qsizetype colon = text.indexOf(QLatin1Char(':'));
    if (colon <= 0 || colon == text.size() - 1)
        return QStringLiteral("--account needs EMAIL:PASSWORD.");
    return Account{text.left(colon).trimmed(), text.mid(colon + 1), {}, {}};
}

std::variant<AccountSeed, QString> AccountSeed::readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("Could not read %1: %2").arg(path, file.errorString());
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        return QStringLiteral("%1 is not a JSON object: %2").arg(path, parseError.errorString());

    AccountSeed seed;
    const QJsonArray accounts = document.object().value(QStringLiteral("accounts")).toArray();
    for (qsizetype i = 0; i < accounts.size(); ++i) {
        const QJsonObject object = accounts.at(i).toObject();
        Account account{object.value(QStringLiteral("email")).toString().trimmed(),
                        object.value(QStringLiteral("password")).toString(),
                        object.value(QStringLiteral("plan")).toString(),
                        object.value(QStringLiteral("role")).toString()};
        if (account.email.isEmpty() || account.password.isEmpty())
            return QStringLiteral("%1: account %2 needs an \"email\" and a \"password\".")
                .arg(path)
                .arg(i + 1);
        seed.accounts.append(account);
    }
    for (const QJsonValue& invite : document.object().value(QStringLiteral("invites")).toArray()) {
        if (!invite.isString() || invite.toString().trimmed().isEmpty())
            return QStringLiteral("%1: every invite must be a non-empty string.").arg(path);
        seed.invites.append(invite.toString().trimmed());
    }
    return seed;
}
