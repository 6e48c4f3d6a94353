#include "app/InstanceChannel.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QLocalSocket>
#include <QTimer>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QByteArray acknowledgement = "ok\n";
const QString morvikScheme = QStringLiteral("morvik");

Error channelError(const QString& message)
{
    return {QStringLiteral("Instance"), 1, message};
}

// The folder must be ours alone: a real directory, owned by this user, closed to everyone else.
Result<void> ensurePrivateFolder(const QString& path)
{
    const QByteArray native = QFile::encodeName(path);
    if (::mkdir(native.constData(), 0700) != 0 && errno != EEXIST)
        return channelError(QStringLiteral("Cannot create %1: %2").arg(path, qt_error_string(errno)));
    struct stat status
    {
    };
    if (::lstat(native.constData(), &status) != 0)
        return channelError(QStringLiteral("Cannot read %1: %2").arg(path, qt_error_string(errno)));
    if (!S_ISDIR(status.st_mode) || status.st_uid != ::getuid() || (status.st_mode & 077) != 0)
        return channelError(QStringLiteral("%1 is not a private folder of this user").arg(path));
    return {};
}

bool peerIsThisUser(const QLocalSocket& socket)
{
    struct ucred peer
    {
    };
    socklen_t length = sizeof peer;
    if (::getsockopt(int(socket.socketDescriptor()), SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0)
        return false;
    return peer.uid == ::getuid();
}

} // namespace

QByteArray InstanceMessage::encode() const
{
    switch (kind) {
    case Kind::ShowHome:
        return "show\n";
    case Kind::OpenPanel:
        return "panel\n";
    case Kind::Reply:
        return "reply\n";
    case Kind::OpenUrl:
        return "url " + url.toEncoded() + '\n';
    }
    return {};
}

std::optional<InstanceMessage> InstanceMessage::decode(const QByteArray& line)
{
    if (line == "show\n")
        return InstanceMessage{Kind::ShowHome, {}};
    if (line == "panel\n")
        return InstanceMessage{Kind::OpenPanel, {}};
    if (line == "reply\n")
        return InstanceMessage{Kind::Reply, {}};
    if (!line.startsWith("url ") || !line.endsWith('\n'))
        return {};
    const QUrl url = QUrl::fromEncoded(line.mid(4).chopped(1), QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != morvikScheme)
        return {};
    return InstanceMessage{Kind::OpenUrl, url};
}

InstanceChannel::InstanceChannel(QObject* parent) : QObject(parent)
{
    // The private folder keeps others out; options that make Qt rename a fresh socket into place
    // would silently replace a running instance's socket.
    connect(&m_server, &QLocalServer::newConnection, this, &InstanceChannel::accept);
}

Result<QString> InstanceChannel::socketPath()
{
    QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (folder.isEmpty()) {
        folder = QDir::tempPath() + QStringLiteral("/tavrin-%1").arg(::getuid());
        if (const Result<void> made = ensurePrivateFolder(folder); !made.ok())
            return made.error();
    }
    folder += QStringLiteral("/tavrin");
    if (const Result<void> made = ensurePrivateFolder(folder); !made.ok())
        return made.error();
    return folder + QStringLiteral("/instance");
}

Result<void> InstanceChannel::listen()
{
    const Result<QString> path = socketPath();
    if (!path.ok())
        return path.error();
    QLocalSocket probe;
    probe.connectToServer(path.value());
    if (probe.waitForConnected(clientTimeoutMs))
        return channelError(alreadyRunning);
    // A socket file nobody answers on is left over from a crash.
    QLocalServer::removeServer(path.value());
    if (!m_server.listen(path.value()))
        return channelError(m_server.errorString());
    return {};
}

void InstanceChannel::accept()
{
    while (QLocalSocket* socket = m_server.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        if (!peerIsThisUser(*socket)) {
            socket->abort();
            continue;
        }
        // A client that neither finishes its line nor hangs up is dropped.
        QTimer::singleShot(clientTimeoutMs, socket, &QLocalSocket::abort);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readFrom(socket); });
        readFrom(socket);
    }
}

void InstanceChannel::readFrom(QLocalSocket* socket)
{
    if (!socket->canReadLine()) {
        if (socket->bytesAvailable() > maxMessageBytes)
            socket->abort();
        return;
    }
    const std::optional<InstanceMessage> message =
        InstanceMessage::decode(socket->readLine(maxMessageBytes + 1));
    socket->disconnect(this);
    if (!message) {
        socket->abort();
        return;
    }
    // The answer leaves before the request is carried out, so the other start can end at once.
    socket->write(acknowledgement);
    socket->flush();
    socket->disconnectFromServer();
    emit received(*message);
}

Result<bool> InstanceChannel::send(const InstanceMessage& message, int timeoutMs)
{
    const Result<QString> path = socketPath();
    if (!path.ok())
        return path.error();
    const QDeadlineTimer deadline(timeoutMs);
    QLocalSocket socket;
    socket.connectToServer(path.value());
    if (!socket.waitForConnected(int(deadline.remainingTime()))) {
        const QLocalSocket::LocalSocketError error = socket.error();
        if (error == QLocalSocket::ServerNotFoundError || error == QLocalSocket::ConnectionRefusedError)
            return false;
        return channelError(socket.errorString());
    }
    socket.write(message.encode());
    while (!socket.canReadLine() && socket.waitForReadyRead(int(deadline.remainingTime()))) {
    }
    if (socket.readLine(acknowledgement.size() + 1) != acknowledgement)
        return channelError(QStringLiteral("The running Tavrin did not answer"));
    return true;
}
