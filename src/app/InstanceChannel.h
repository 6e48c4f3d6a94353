#pragma once

#include "base/Result.h"

#include <QLocalServer>
#include <QObject>
#include <QUrl>
#include <optional>

class QLocalSocket;

// What a second start of the program asks of the one already running.
struct InstanceMessage
{
    enum class Kind { ShowHome, OpenPanel, Reply, OpenUrl };
    Kind kind = Kind::ShowHome;
    QUrl url; // OpenUrl only: a morvik: callback

    bool operator==(const InstanceMessage&) const = default;

    QByteArray encode() const;
    // Absent for anything but the four well-formed lines.
    static std::optional<InstanceMessage> decode(const QByteArray& line);
};

// The one running application listens on a local socket in the user's private runtime folder; a
// later start hands its request over and exits. Only processes of the same user are heard, each for a
// bounded time and a bounded number of bytes.
class InstanceChannel : public QObject
{
    Q_OBJECT
public:
    static constexpr int maxMessageBytes = 4096;
    static constexpr int clientTimeoutMs = 2000;
    // A running instance may be busy for a moment (reading another application's text, say).
    static constexpr int handOverTimeoutMs = 5000;
    static inline const QString alreadyRunning = QStringLiteral("Tavrin is already running");

    explicit InstanceChannel(QObject* parent = nullptr);

    // $XDG_RUNTIME_DIR/tavrin/instance, or a private folder under the temporary folder.
    static Result<QString> socketPath();

    // Starts listening; fails when another instance already does, or the folder is not private.
    Result<void> listen();

    // From a process that is not the application: delivers the message to the running instance and
    // waits for its acknowledgement. False when no instance listens.
    static Result<bool> send(const InstanceMessage& message, int timeoutMs = handOverTimeoutMs);

signals:
    void received(const InstanceMessage& message);

private:
    void accept();
    void readFrom(QLocalSocket* socket);

    QLocalServer m_server;
};
