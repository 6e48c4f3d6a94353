#include "protocol/AskRequest.h"

#include <QJsonDocument>
#include <QJsonObject>

QByteArray AskRequest::encode() const
{
    QJsonObject object{{QStringLiteral("text"), text}};
    const auto put = [&object](const char* key, const std::optional<QString>& value) {
        if (value)
            object.insert(QLatin1String(key), *value);
    };
    put("selection", selection);
    put("before", before);
    put("after", after);
    put("app", app);
    put("copied", copied);
    put("draft", draft);
    put("adjust", adjust);
    object.insert(QLatin1String("device"), device);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}
