#include "ScriptedServer.h"

#include <QTcpSocket>
#include <optional>

QByteArray RecordedRequest::header(QByteArrayView name) const
{
    for (const auto& [key, value] : headers)
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    return {};
}

ScriptedResponse& ScriptedResponse::header(const QByteArray& name, const QByteArray& value)
{
    m_headers.append({name, value});
    return *this;
}

ScriptedResponse& ScriptedResponse::part(const QByteArray& bytes)
{
    m_parts.append({bytes, false});
    return *this;
}

ScriptedResponse& ScriptedResponse::heldPart(const QByteArray& bytes)
{
    m_parts.append({bytes, true});
    return *this;
}

ScriptedResponse& ScriptedResponse::closeAbruptly()
{
    m_abrupt = true;
    return *this;
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
        connect(socket, &QTcpSocket::disconnected, this, [this] {
            m_holding = false;
            if (!m_closingOurselves)
                emit m_server->closedByClient();
            deleteLater();
        });
    }

    bool isHolding() const { return m_holding; }

    void release()
    {
        if (std::exchange(m_holding, false))
            sendParts(true);
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
            QByteArray head = "HTTP/1.1 " + QByteArray::number(m_response->m_status) + " Scripted\r\n";
            for (const auto& [name, value] : m_response->m_headers)
                head += name + ": " + value + "\r\n";
            m_socket->write(head + "Transfer-Encoding: chunked\r\n\r\n");
            sendParts(false);
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

    // Sends the parts up to the next held one, which `released` lets through.
    void sendParts(bool released)
    {
        if (m_socket->state() != QAbstractSocket::ConnectedState)
            return;
        for (; m_next < m_response->m_parts.size(); ++m_next) {
            const ScriptedResponse::Part& part = m_response->m_parts.at(m_next);
            if (part.held && !std::exchange(released, false)) {
                m_holding = true;
                return;
            }
            if (!part.bytes.isEmpty()) // an empty chunk would end the body
                m_socket->write(QByteArray::number(part.bytes.size(), 16) + "\r\n" + part.bytes + "\r\n");
        }
        if (std::exchange(m_response, std::nullopt)->m_abrupt) {
            m_closingOurselves = true;
            m_socket->disconnectFromHost();
            return;
        }
        m_socket->write("0\r\n\r\n");
        readRequests();
    }

    QTcpSocket* m_socket;
    ScriptedServer* m_server;
    QByteArray m_input;
    std::optional<ScriptedResponse> m_response;
    qsizetype m_next = 0;
    bool m_holding = false;
    bool m_closingOurselves = false;
};

ScriptedServer::ScriptedServer(QObject* parent) : QObject(parent)
{
    if (!m_server.listen(QHostAddress::LocalHost, 0))
        qFatal("ScriptedServer cannot listen on 127.0.0.1: %s", qPrintable(m_server.errorString()));
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        m_connections.removeAll(nullptr);
        while (QTcpSocket* socket = m_server.nextPendingConnection())
            m_connections.append(new ScriptedConnection(socket, this));
    });
}

QUrl ScriptedServer::url(const QString& path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path));
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

ScriptedResponse ScriptedServer::responseFor(const RecordedRequest& request)
{
    m_requests.append(request);
    if (!m_queue.isEmpty())
        return m_queue.takeFirst();
    return ScriptedResponse(500)
        .header("Content-Type", "application/json")
        .part(R"({"error":"ScriptedServer: nothing queued for )" + request.method + ' ' + request.path +
              "\"}");
}
