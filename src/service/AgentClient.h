#pragma once

#include "base/Error.h"
#include "base/Result.h"
#include "config/AgentConfig.h"
#include "protocol/AskEvent.h"
#include "protocol/AskRequest.h"
#include "protocol/EventLineParser.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <optional>

class QNetworkReply;
class AskStream;

namespace AgentClient {

// Starts posting the request; the network work begins at once.
AskStream* ask(const AskRequest& request, const AgentConfig& config);

// The error to report for an unsuccessful HTTP response.
Error failure(int status, const QByteArray& body);

} // namespace AgentClient

// One streamed answer. Events arrive in order on the thread that asked; `finished` comes exactly once,
// with the error that ended the stream or none, unless `cancel` came first: after `cancel` nothing at
// all is delivered. The stream deletes itself once it has finished or been cancelled.
class AskStream : public QObject
{
    Q_OBJECT
public:
    void cancel();

signals:
    void event(const AskEvent& event);
    void finished(const Result<void>& outcome);

private:
    friend AskStream* AgentClient::ask(const AskRequest&, const AgentConfig&);
    explicit AskStream(QNetworkReply* reply);
    AskStream() = default;

    void failLater(const Error& error);
    void readBody();
    void onFinished();
    void end(const Result<void>& outcome);
    int status() const;

    QPointer<QNetworkReply> m_reply;
    EventLineParser m_parser;
    QByteArray m_failureBody;
    bool m_over = false;
    bool m_cancelled = false;
};

Q_DECLARE_METATYPE(Result<void>)
