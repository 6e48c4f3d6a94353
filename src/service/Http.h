#pragma once

#include "base/Error.h"

#include <QNetworkRequest>
#include <QString>
#include <QUrl>
#include <variant>

class QNetworkAccessManager;
class QNetworkReply;

// What the service clients share: addresses, the one network session, and the token's safety.
namespace Http {

// The base address joined with a relative endpoint path, or the reason the base is no usable address.
std::variant<QUrl, Error> endpoint(const QString& serverURL, const QString& path);

// The process-wide network session, owned by the application object.
QNetworkAccessManager& network();

// A request that may carry the account token: redirects are followed only within the same origin, so
// the token never reaches another scheme, host or port.
QNetworkRequest request(const QUrl& url);
void keepTokenAtHome(QNetworkReply* reply);

bool sameOrigin(const QUrl& a, const QUrl& b);

// The failure of a reply whose transfer broke: no connection, a refused redirect, a time-out.
Error transportError(const QNetworkReply& reply);

} // namespace Http
