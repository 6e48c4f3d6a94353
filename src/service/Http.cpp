#include "service/Http.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace Http {
namespace {

constexpr char refusedRedirectProperty[] = "tavrinRefusedRedirect";

} // namespace

std::variant<QUrl, Error> endpoint(const QString& serverURL, const QString& path)
{
    QUrl url(serverURL.trimmed(), QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || (scheme != u"http" && scheme != u"https") || url.host().isEmpty())
        return Error{
            QStringLiteral("Network"), QNetworkReply::ProtocolUnknownError,
            QStringLiteral("The server address is not a valid http or https URL: \"%1\"").arg(serverURL)};
    QString base = url.path(QUrl::FullyEncoded);
    if (!base.endsWith(QLatin1Char('/')))
        base += QLatin1Char('/');
    url.setPath(base + path, QUrl::TolerantMode);
    return url;
}

QNetworkAccessManager& network()
{
    static QNetworkAccessManager* const manager = new QNetworkAccessManager(QCoreApplication::instance());
    return *manager;
}

QNetworkRequest request(const QUrl& url)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::UserVerifiedRedirectPolicy);
    return request;
}

bool sameOrigin(const QUrl& a, const QUrl& b)
{
    const auto defaultPort = [](const QUrl& url) { return url.scheme().toLower() == u"https" ? 443 : 80; };
    return a.scheme().toLower() == b.scheme().toLower() && a.host().toLower() == b.host().toLower() &&
           a.port(defaultPort(a)) == b.port(defaultPort(b));
}

void keepTokenAtHome(QNetworkReply* reply)
{
    QObject::connect(reply, &QNetworkReply::redirected, reply, [reply](const QUrl& target) {
        if (sameOrigin(reply->request().url(), reply->url().resolved(target)))
            emit reply->redirectAllowed();
        else {
            reply->setProperty(refusedRedirectProperty, reply->url().resolved(target));
            reply->abort();
        }
    });
}

Error transportError(const QNetworkReply& reply)
{
    const QVariant refused = reply.property(refusedRedirectProperty);
    if (refused.isValid())
        return {
            QStringLiteral("Network"), QNetworkReply::InsecureRedirectError,
            QStringLiteral("The server redirected to another address (%1); the request was not sent there.")
                .arg(refused.toUrl().toDisplayString(QUrl::RemoveUserInfo | QUrl::RemovePath |
                                                     QUrl::RemoveQuery))};
    // Our own aborts disconnect before they abort, so a cancelled reply that reaches its owner timed out.
    if (reply.error() == QNetworkReply::OperationCanceledError)
        return {QStringLiteral("Network"), QNetworkReply::TimeoutError,
                QStringLiteral("The request timed out: the service stopped answering.")};
    return {QStringLiteral("Network"), static_cast<int>(reply.error()), reply.errorString()};
}

} // namespace Http
