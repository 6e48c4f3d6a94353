#pragma once

#include "TavrinService.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <atomic>
#include <thread>

class QNetworkReply;

// The service running in this process on a free port with cheap password hashes, stopped when the
// object goes.
class RunningService
{
public:
    explicit RunningService(ServiceOptions options, const Clock& clock = systemClock());
    ~RunningService();

    TavrinService& service() { return m_service; }
    QString url(const QString& path) const { return m_service.url() + QLatin1Char('/') + path; }

private:
    TavrinService m_service;
    std::thread m_thread;
};

// A clock that stands still until the test moves it; readable from the server's threads.
class FakeClock
{
public:
    Clock clock()
    {
        return [this] { return QDateTime::fromMSecsSinceEpoch(m_msecs); };
    }
    void advance(std::chrono::seconds by) { m_msecs += std::chrono::milliseconds(by).count(); }

private:
    std::atomic<qint64> m_msecs = QDateTime(QDate(2026, 3, 14), QTime(9, 0)).toMSecsSinceEpoch();
};

// One finished exchange with the service.
struct Exchange
{
    int status = 0;
    QByteArray body;
    QByteArray contentType;
    QByteArray location; // where a redirect points
    QByteArray policy;   // Content-Security-Policy
    QByteArray contentTypeOptions;
    QByteArray retryAfter;
    QList<QByteArray> setCookies;
    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
    QString text() const { return QString::fromUtf8(body); }
};

// Plain requests to the service, each waited for (with a deadline) on the test's event loop.
class ServiceClient
{
public:
    static QNetworkRequest request(const QString& url, const QString& token);
    Exchange get(const QString& url, const QString& token = {});
    Exchange get(const QNetworkRequest& request);
    Exchange post(const QString& url, const QJsonObject& body, const QString& token = {});
    Exchange post(const QNetworkRequest& request, const QByteArray& body);
    Exchange remove(const QString& url, const QString& token = {});
    // A POST with no body and no Content-Length, the way the agent asks for a pairing code.
    Exchange postNothing(const QString& url, const QString& token);

private:
    Exchange finish(QNetworkReply* reply);

    QNetworkAccessManager m_network;
};
