#include "JsonReply.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <httplib.h>

namespace JsonReply {

void object(httplib::Response& response, int status, const QJsonObject& body)
{
    response.status = status;
    response.set_content(QJsonDocument(body).toJson(QJsonDocument::Compact).toStdString(),
                         "application/json");
}

void error(httplib::Response& response, int status, const QString& message)
{
    object(response, status, {{QStringLiteral("error"), message}});
}

std::optional<QJsonObject> readObject(const httplib::Request& request, httplib::Response& response)
{
    QJsonParseError parseError{};
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromStdString(request.body), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        error(response, 400, QStringLiteral("The request body is not JSON: ") + parseError.errorString());
        return std::nullopt;
    }
    if (!document.isObject()) {
        error(response, 400, QStringLiteral("The request body must be a JSON object."));
        return std::nullopt;
    }
    return document.object();
}

QString bearerToken(const httplib::Request& request)
{
    const QString header = QString::fromStdString(request.get_header_value("Authorization")).trimmed();
    const QLatin1String scheme("Bearer ");
    if (!header.startsWith(scheme, Qt::CaseInsensitive))
        return {};
    return header.mid(scheme.size()).trimmed();
}

} // namespace JsonReply
