#include "service/AgentClient.h"

#include "protocol/ErrorBody.h"
#include "service/Http.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

namespace {

constexpr int inactivityTimeoutMs = 60'000;
constexpr qsizetype failureBodyLimit = 4096;
// What the reply may hold unread: beyond it, reading from the network waits for the reader, so a fast
// server cannot fill memory while the answer is being shown or written out.
constexpr qint64 readBufferBytes = 256 * 1024;

} // namespace

AskStream* AgentClient::ask(const AskRequest& request, const AgentConfig& config)
{
    const auto url = Http::endpoint(config.serverURL, QStringLiteral("v1/ask"));
    if (const auto* error = std::get_if<Error>(&url)) {
        auto* stream = new AskStream;
        stream->failLater(*error);
        return stream;
    }
    QNetworkRequest http = Http::request(std::get<QUrl>(url));
    http.setTransferTimeout(inactivityTimeoutMs);
    http.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    http.setRawHeader("Authorization", "Bearer " + config.token.toUtf8());
    http.setRawHeader("Accept", "text/event-stream");
    // A compressed body would only be decoded once it had all arrived, which defeats streaming.
    http.setRawHeader("Accept-Encoding", "identity");
    return new AskStream(Http::network().post(http, request.encode()));
}

AskStream::AskStream(QNetworkReply* reply) : m_reply(reply)
{
    // Qt wires the size through to its network thread when it starts the request, one turn of the event
    // loop after post(): set now, it never gets there; set when the headers have come, the network thread
    // has read without limit until then, which a busy main thread can stretch to hundreds of megabytes.
    // On the next turn it reaches the network thread before the first byte of the answer.
    QTimer::singleShot(0, reply, [reply] { reply->setReadBufferSize(readBufferBytes); });
    Http::keepTokenAtHome(reply);
    connect(reply, &QNetworkReply::readyRead, this, &AskStream::readBody);
    connect(reply, &QNetworkReply::finished, this, &AskStream::onFinished);
}

void AskStream::failLater(const Error& error)
{
    QTimer::singleShot(0, this, [this, error] { end(error); });
}

int AskStream::status() const
{
    return m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

void AskStream::readBody()
{
    if (m_over)
        return;
    if (status() != 200) {
        // Keep just past the limit: enough to tell a JSON error from a page that is too long for one.
        m_failureBody += m_reply->read(failureBodyLimit + 1 - m_failureBody.size());
        if (m_failureBody.size() > failureBodyLimit)
            end(AgentClient::failure(status(), m_failureBody));
        return;
    }
    const QByteArray bytes = m_reply->readAll();
    QList<AskEvent> events;
    m_parser.feed(bytes, events);
    for (const AskEvent& e : events) {
        if (m_over)
            return;
        emit event(e);
    }
}

void AskStream::onFinished()
{
    if (m_over)
        return;
    const int code = status();
    if (code == 0 || m_reply->error() == QNetworkReply::OperationCanceledError) {
        end(Http::transportError(*m_reply));
        return;
    }
    readBody();
    if (m_over)
        return;
    if (code != 200) {
        end(AgentClient::failure(code, m_failureBody));
        return;
    }
    if (m_reply->error() != QNetworkReply::NoError) {
        end(Http::transportError(*m_reply));
        return;
    }
    QList<AskEvent> events;
    m_parser.finish(events);
    for (const AskEvent& e : events) {
        if (m_over)
            return;
        emit event(e);
    }
    end(Result<void>());
}

void AskStream::end(const Result<void>& outcome)
{
    if (m_over)
        return;
    m_over = true;
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
    }
    if (!m_cancelled)
        emit finished(outcome);
    deleteLater();
}

void AskStream::cancel()
{
    m_cancelled = true;
    end(Error::cancelled());
}

namespace AgentClient {

Error failure(int status, const QByteArray& body)
{
    const QString domain = QStringLiteral("Agent");
    if (status == 401)
        return {domain, status, QStringLiteral("This Mac is signed out. Open Tavrin and sign in again.")};
    if (status == 402)
        return {domain, status, QStringLiteral("You've reached today's limit. It resets at midnight.")};
    return {domain, status,
            ErrorBody::reason(body).value_or(QStringLiteral("Server returned HTTP %1").arg(status))};
}

} // namespace AgentClient
