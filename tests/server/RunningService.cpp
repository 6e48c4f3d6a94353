#include "RunningService.h"

#include <QNetworkReply>
#include <QSignalSpy>

namespace {

ServiceOptions forTests(ServiceOptions options)
{
    options.host = QStringLiteral("127.0.0.1");
    options.port = 0;
    // Full-strength hashes would spend most of a test's time on its sign-ins and nothing on its checks.
    options.passwordRounds = 1000;
    return options;
}

} // namespace

RunningService::RunningService(ServiceOptions options, const Clock& clock)
    : m_service(forTests(std::move(options)), clock)
{
    if (const std::optional<QString> problem = m_service.bind())
        qFatal("the service could not start: %s", qUtf8Printable(*problem));
    m_thread = std::thread([this] { m_service.run(); });
}

RunningService::~RunningService()
{
    m_service.stop();
    m_thread.join();
}

QNetworkRequest ServiceClient::request(const QString& url, const QString& token)
{
    QNetworkRequest request{QUrl(url)};
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    if (!token.isEmpty())
        request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    // A kept-alive connection would hold the service's shutdown for its keep-alive time.
    request.setRawHeader("Connection", "close");
    // Redirects are answers to look at here, not to follow (they lead to the agent's morvik: scheme).
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    return request;
}

Exchange ServiceClient::get(const QString& url, const QString& token)
{
    return get(request(url, token));
}

Exchange ServiceClient::get(const QNetworkRequest& request)
{
    return finish(m_network.get(request));
}

Exchange ServiceClient::post(const QString& url, const QJsonObject& body, const QString& token)
{
    return post(request(url, token), QJsonDocument(body).toJson(QJsonDocument::Compact));
}

Exchange ServiceClient::post(const QNetworkRequest& request, const QByteArray& body)
{
    return finish(m_network.post(request, body));
}

Exchange ServiceClient::remove(const QString& url, const QString& token)
{
    return finish(m_network.deleteResource(request(url, token)));
}

Exchange ServiceClient::postNothing(const QString& url, const QString& token)
{
    QNetworkRequest bare = request(url, token);
    bare.setHeader(QNetworkRequest::ContentTypeHeader, QVariant());
    return finish(m_network.sendCustomRequest(bare, "POST"));
}

Exchange ServiceClient::finish(QNetworkReply* reply)
{
    Exchange exchange;
    QSignalSpy finished(reply, &QNetworkReply::finished);
    if (reply->isFinished() || finished.wait(10000)) {
        exchange.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        exchange.body = reply->readAll();
        exchange.contentType = reply->rawHeader("Content-Type");
        exchange.location = reply->rawHeader("Location");
        exchange.policy = reply->rawHeader("Content-Security-Policy");
        exchange.contentTypeOptions = reply->rawHeader("X-Content-Type-Options");
        exchange.retryAfter = reply->rawHeader("Retry-After");
        // Qt joins repeated headers with line breaks.
        if (reply->hasRawHeader("Set-Cookie"))
            exchange.setCookies = reply->rawHeader("Set-Cookie").split('\n');
    } else {
        reply->abort();
    }
    reply->deleteLater();
    return exchange;
}
