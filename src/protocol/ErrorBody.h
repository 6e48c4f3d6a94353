#pragma once

#include <QByteArrayView>
#include <QJsonValue>
#include <QString>
#include <optional>

// The reason a server gives for a failure, in any of the shapes services use:
// {"error": "..."}, {"error": {"message": "..."}} or {"message": "..."}.
namespace ErrorBody {

// The reason in a whole response body; absent when there is none or it is blank.
std::optional<QString> reason(QByteArrayView body);
// The reason in the value of an "error" member.
std::optional<QString> reasonOf(const QJsonValue& error);

} // namespace ErrorBody
