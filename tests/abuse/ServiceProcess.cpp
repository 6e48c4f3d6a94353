#include "ServiceProcess.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QJsonDocument>
#include <QTcpSocket>
#include <QUrl>

ServiceProcess::ServiceProcess(const QStringList& arguments,
                               const QList<std::pair<QString, QString>>& environment)
{
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : environment)
        variables.insert(name, value);
    m_process.setProcessEnvironment(variables);
    m_process.start(QStringLiteral(TAVRIN_SERVICE_EXE),
                    QStringList{"--host", "127.0.0.1", "--port", "0"} + arguments);
    const QDeadlineTimer deadline(20000);
    while (!m_process.canReadLine() && !deadline.hasExpired() &&
           m_process.waitForReadyRead(deadline.remainingTime())) {
    }
    const QString line = QString::fromUtf8(m_process.readLine()).trimmed();
    if (line.startsWith(QLatin1String("listening on ")))
        m_url = line.mid(13);
}

ServiceProcess::~ServiceProcess()
{
    m_process.terminate();
    if (!m_process.waitForFinished(20000))
        m_process.kill();
    m_process.waitForFinished(5000);
}

void ServiceProcess::crash()
{
    m_process.kill();
    m_process.waitForFinished(10000);
}

quint16 ServiceProcess::port() const
{
    return static_cast<quint16>(QUrl(m_url).port());
}

QByteArray ServiceProcess::log()
{
    // Lines still on their way are waited for briefly; the log ends when the service is quiet.
    while (m_process.waitForReadyRead(200)) {
    }
    m_log += m_process.readAllStandardError();
    return m_log;
}

qint64 ServiceProcess::peakMemoryKiB() const
{
    QFile status(QStringLiteral("/proc/%1/status").arg(m_process.processId()));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').constFirst().toLongLong();
    }
    return -1;
}

QString writeFile(const QString& path, const QByteArray& content, QFileDevice::Permissions permissions)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        return {};
    file.setPermissions(permissions);
    return file.fileName();
}

QJsonObject RawReply::json() const
{
    return QJsonDocument::fromJson(body).object();
}

namespace Raw {

RawReply exchange(quint16 port, const QByteArray& request, int deadlineMs)
{
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), port);
    RawReply reply;
    if (!socket.waitForConnected(deadlineMs))
        return reply;
    socket.write(request);
    const QDeadlineTimer deadline(deadlineMs);
    QByteArray received;
    // Writing and reading in turns: the service may answer (and close) before it has read everything.
    while (!deadline.hasExpired() && socket.state() == QAbstractSocket::ConnectedState) {
        if (socket.bytesToWrite() > 0)
            socket.waitForBytesWritten(50);
        socket.waitForReadyRead(50);
        received += socket.readAll();
    }
    received += socket.readAll();
    const qsizetype split = received.indexOf("\r\n\r\n");
    if (!received.startsWith("HTTP/1.1 ") || split < 0)
        return reply;
    reply.status = received.mid(9, 3).toInt();
    reply.body = received.mid(split + 4);
    return reply;
}

QByteArray post(const QString& path, const QJsonObject& body, const QByteArray& extraHeaders)
{
    const QByteArray content = QJsonDocument(body).toJson(QJsonDocument::Compact);
    return "POST /" + path.toUtf8() + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n" +
           "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(content.size()) +
           "\r\n" + extraHeaders + "\r\n" + content;
}

QByteArray get(const QString& path, const QByteArray& extraHeaders)
{
    return "GET /" + path.toUtf8() + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n" + extraHeaders +
           "\r\n";
}

} // namespace Raw
