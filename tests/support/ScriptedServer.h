#pragma once

#include <QByteArray>
#include <QList>
#include <QPointer>
#include <QTcpServer>
#include <QUrl>
#include <utility>

class ScriptedConnection;

using HeaderList = QList<std::pair<QByteArray, QByteArray>>;

// One request as the client sent it.
struct RecordedRequest
{
    QByteArray method;
    QByteArray path;
    HeaderList headers;
    QByteArray body;

    // Names are matched without regard to case, as in HTTP; an absent header gives a null array.
    QByteArray header(QByteArrayView name) const;
};

// The answer to one request: a status, headers and a chunked body sent in parts.
class ScriptedResponse
{
public:
    explicit ScriptedResponse(int status = 200) : m_status(status) {}

    ScriptedResponse& header(const QByteArray& name, const QByteArray& value);
    // Appends a part of the body, sent as one chunk.
    ScriptedResponse& part(const QByteArray& bytes);
    // Appends a part that waits for `ScriptedServer::release`, so a test can look at the client meanwhile.
    ScriptedResponse& heldPart(const QByteArray& bytes);
    // After the last part the connection closes with the body unfinished.
    ScriptedResponse& closeAbruptly();

private:
    friend class ScriptedConnection;

    struct Part
    {
        QByteArray bytes;
        bool held = false;
    };

    int m_status;
    HeaderList m_headers;
    QList<Part> m_parts;
    bool m_abrupt = false;
};

// A small HTTP/1.1 server on 127.0.0.1 that answers requests in the order its responses were queued
// and records every request. A request with nothing queued gets a 500 that names it.
class ScriptedServer : public QObject
{
    Q_OBJECT
public:
    explicit ScriptedServer(QObject* parent = nullptr);

    QUrl url(const QString& path = QString()) const;

    void enqueue(const ScriptedResponse& response);
    // Lets every response that waits at a held part go on.
    void release();
    bool isHolding() const;

    const QList<RecordedRequest>& requests() const { return m_requests; }

signals:
    void closedByClient();

private:
    friend class ScriptedConnection;

    ScriptedResponse responseFor(const RecordedRequest& request);

    QTcpServer m_server;
    QList<ScriptedResponse> m_queue;
    QList<RecordedRequest> m_requests;
    QList<QPointer<ScriptedConnection>> m_connections;
};
