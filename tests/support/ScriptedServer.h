#pragma once

#include <QByteArray>
#include <QList>
#include <QPointer>
#include <QTcpServer>
#include <QUrl>
#include <chrono>
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
    bool hasHeader(QByteArrayView name) const;
};

// The answer to one request: a status, headers and a body sent in parts.
class ScriptedResponse
{
public:
    enum class Framing { Chunked, ContentLength, CloseDelimited };

    explicit ScriptedResponse(int status = 200) : m_status(status) {}

    // A redirect with an empty body; 307 keeps the method and the body.
    static ScriptedResponse redirect(const QUrl& location, int status = 307);

    ScriptedResponse& header(const QByteArray& name, const QByteArray& value);
    // Appends a part of the body, sent after the given pause (each part is one chunk when chunked).
    ScriptedResponse& part(const QByteArray& bytes, std::chrono::milliseconds pause = {});
    // Appends a part that waits for `ScriptedServer::release`, so a test can look at the client meanwhile.
    ScriptedResponse& heldPart(const QByteArray& bytes);
    ScriptedResponse& framing(Framing framing);
    // After the last part the connection closes with the body unfinished.
    ScriptedResponse& closeAbruptly();

private:
    friend class ScriptedConnection;

    struct Part
    {
        QByteArray bytes;
        std::chrono::milliseconds pause{};
        bool held = false;
    };

    QByteArray head() const;

    int m_status;
    HeaderList m_headers;
    QList<Part> m_parts;
    Framing m_framing = Framing::Chunked;
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
    quint16 port() const { return m_server.serverPort(); }

    void enqueue(const ScriptedResponse& response);
    // Lets every response that waits at a held part go on.
    void release();
    bool isHolding() const;

    const QList<RecordedRequest>& requests() const { return m_requests; }

signals:
    void requestReceived();
    void holding();
    void closedByClient();

private:
    friend class ScriptedConnection;

    void accept();
    ScriptedResponse responseFor(const RecordedRequest& request);

    QTcpServer m_server;
    QList<ScriptedResponse> m_queue;
    QList<RecordedRequest> m_requests;
    QList<QPointer<ScriptedConnection>> m_connections;
};
