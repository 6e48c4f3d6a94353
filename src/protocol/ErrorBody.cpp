#include "protocol/ErrorBody.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace ErrorBody {

namespace {

std::optional<QString> nonBlank(const QString& text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    return trimmed;
}

} // namespace

std::optional<QString> reasonOf(const QJsonValue& error)
{
    if (error.isString())
        return nonBlank(error.toString());
    return nonBlank(error.toObject().value(QLatin1String("message")).toString());
}

std::optional<QString> reason(QByteArrayView body)
{
    // Invalid UTF-8 would make the whole body unreadable: replace it, keep the rest.
    const QJsonObject object = QJsonDocument::fromJson(QString::fromUtf8(body).toUtf8()).object();
    if (std::optional<QString> fromError = reasonOf(object.value(QLatin1String("error"))))
        return fromError;
    return nonBlank(object.value(QLatin1String("message")).toString());
}

} // namespace ErrorBody
