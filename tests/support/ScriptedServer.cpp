#include "ScriptedServer.h"

#include <QTcpSocket>
#include <QTimer>
#include <optional>

QByteArray RecordedRequest::header(QByteArrayView name) const
{
    for (const auto& [key, value] : headers)
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    return {};
}

bool RecordedRequest::hasHeader(QByteArrayView name) const
{
    return std::any_of(headers.cbegin(), headers.cend(), [name](const auto& header) {
        return header.first.compare(name, Qt::CaseInsensitive) == 0;
    });
}

ScriptedResponse ScriptedResponse::redirect(const QUrl& location, int status)
{
    return ScriptedResponse(status).header("Location", location.toEncoded()).framing(Framing::ContentLength);
}

ScriptedResponse& ScriptedResponse::header(const QByteArray& name, const QByteArray& value)
{
    m_headers.append({name, value});
    return *this;
}

ScriptedResponse& ScriptedResponse::part(const QByteArray& bytes, std::chrono::milliseconds pause)
{
    m_parts.append({bytes, pause, false});
    return *this;
}

ScriptedResponse& ScriptedResponse::heldPart(const QByteArray& bytes)
{
    m_parts.append({bytes, {}, true});
    return *this;
}

ScriptedResponse& ScriptedResponse::framing(Framing framing)
{
    m_framing = framing;
    return *this;
}

ScriptedResponse& ScriptedResponse::closeAbruptly()
{
    m_abrupt = true;
    return *this;
}

QByteArray ScriptedResponse::head() const
{
    QByteArray head = "HTTP/1.1 " + QByteArray::number(m_status) + " Scripted\r\n";
    for (const auto& [name, value] : m_headers)
        head += name + ": " + value + "\r\n";
    switch (m_framing) {
    case Framing::Chunked:
        head += "Transfer-Encoding: chunked\r\n";
        break;
    case Framing::ContentLength: {
        qsizetype length = 0;
        for (const Part& part : m_parts)
            length += part.bytes.size();
        // One byte more than is ever sent, so that the close comes in the middle of the body.
        if (m_abrupt)
            ++length;
        head += "Content-Length: " + QByteArray::number(length) + "\r\n";
        break;
    }
    case Framing::CloseDelimited:
        head += "Connection: close\r\n";
        break;
    }
    return head + "\r\n";
}

// One accepted connection: reads requests one after the other and plays the response of each.
class ScriptedConnection : public QObject
{
public:
    ScriptedConnection(QTcpSocket* socket, ScriptedServer* server)
        : QObject(server), m_socket(socket), m_server(server)
    {
        socket->setParent(this);
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(socket, &QTcpSocket::readyRead, this, &ScriptedConnection::readRequests);
        connect(socket, &QTcpSocket::disconnected, this, &ScriptedConnection::onDisconnected);
    }

    bool isHolding() const { return m_holding; }

    void release()
    {
        if (!m_holding)
            return;
        m_holding = false;
        m_released = true;
        sendParts();
    }

private:
    void readRequests()
    {
        m_input += m_socket->readAll();
        while (!m_response) {
            const std::optional<RecordedRequest> request = takeRequest();
            if (!request)
                return;
            m_response = m_server->responseFor(*request);
            m_next = 0;
            m_socket->write(m_response->head());
            sendParts();
        }
    }

    // Bodies are read by their Content-Length, which is how the clients under test send them.
    std::optional<RecordedRequest> takeRequest()
    {
        const qsizetype headEnd = m_input.indexOf("\r\n\r\n");
        if (headEnd < 0)
            return std::nullopt;
        const QList<QByteArray> lines = m_input.left(headEnd).split('\n');
        RecordedRequest request;
        const QList<QByteArray> requestLine = lines.first().trimmed().split(' ');
        request.method = requestLine.value(0);
        request.path = requestLine.value(1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines[i].indexOf(':');
            if (colon > 0)
                request.headers.append({lines[i].left(colon).trimmed(), lines[i].mid(colon + 1).trimmed()});
        }
        const qsizetype bodyStart = headEnd + 4;
        const qsizetype length = request.header("Content-Length").toLongLong();
        if (m_input.size() < bodyStart + length)
            return std::nullopt;
        request.body = m_input.mid(bodyStart, length);
        m_input.remove(0, bodyStart + length);
        return request;
    }

    void sendParts()
    {
        if (m_socket->state() != QAbstractSocket::ConnectedState)
            return;
        while (m_next < m_response->m_parts.size()) {
            const ScriptedResponse::Part& part = m_response->m_parts.at(m_next);
            if (part.held && !m_released) {
                m_holding = true;
                emit m_server->holding();
                return;
            }
            if (part.pause.count() > 0 && !m_pauseOver) {
                QTimer::singleShot(part.pause, this, [this] {
                    m_pauseOver = true;
                    sendParts();
                });
                return;
            }
            m_released = m_pauseOver = false;
            writeBody(part.bytes);
            ++m_next;
        }
        finishResponse();
    }

    void writeBody(const QByteArray& bytes)
    {
        if (m_response->m_framing != ScriptedResponse::Framing::Chunked)
            m_socket->write(bytes);
        else if (!bytes.isEmpty()) // an empty chunk would end the body
            m_socket->write(QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n");
    }

    void finishResponse()
    {
        const ScriptedResponse response = *std::exchange(m_response, std::nullopt);
        if (response.m_abrupt || response.m_framing == ScriptedResponse::Framing::CloseDelimited) {
            m_closingOurselves = true;
            m_socket->disconnectFromHost();
            return;
        }
        if (response.m_framing == ScriptedResponse::Framing::Chunked)
            m_socket->write("0\r\n\r\n");
        readRequests();
    }

    void onDisconnected()
    {
        m_holding = false;
        if (!m_closingOurselves)
            emit m_server->closedByClient();
        deleteLater();
    }

    QTcpSocket* m_socket;
    ScriptedServer* m_server;
    QByteArray m_input;
    std::optional<ScriptedResponse> m_response;
    qsizetype m_next = 0;
    bool m_holding = false;
    bool m_released = false;
    bool m_pauseOver = false;
    bool m_closingOurselves = false;
};

ScriptedServer::ScriptedServer(QObject* parent) : QObject(parent)
{
    if (!m_server.listen(QHostAddress::LocalHost, 0))
        qFatal("ScriptedServer cannot listen on 127.0.0.1: %s", qPrintable(m_server.errorString()));
    connect(&m_server, &QTcpServer::newConnection, this, &ScriptedServer::accept);
}

QUrl ScriptedServer::url(const QString& path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port()).arg(path));
}

void ScriptedServer::enqueue(const ScriptedResponse& response)
{
    m_queue.append(response);
}

void ScriptedServer::release()
{
    for (const QPointer<ScriptedConnection>& connection : std::as_const(m_connections))
        if (connection)
            connection->release();
}

bool ScriptedServer::isHolding() const
{
    return std::any_of(m_connections.cbegin(), m_connections.cend(),
                       [](const QPointer<ScriptedConnection>& c) { return c && c->isHolding(); });
}

void ScriptedServer::accept()
{
    m_connections.removeAll(nullptr);
    while (QTcpSocket* socket = m_server.nextPendingConnection())
        m_connections.append(new ScriptedConnection(socket, this));
}

ScriptedResponse ScriptedServer::responseFor(const RecordedRequest& request)
{
    m_requests.append(request);
    emit requestReceived();
    if (!m_queue.isEmpty())
        return m_queue.takeFirst();
    return ScriptedResponse(500)
        .header("Content-Type", "application/json")
        .part(R"({"error":"ScriptedServer: nothing queued for )" + request.method + ' ' + request.path +
              "\"}")
        .framing(ScriptedResponse::Framing::ContentLength);
}
