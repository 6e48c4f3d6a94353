#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

namespace httplib {
class Server;
}

// A stand-in for an OpenAI-compatible model server on 127.0.0.1: answers each request with the next
// scripted reply, records what it received and notices when the client hangs up.
class ScriptedUpstream
{
public:
    struct Reply
    {
        int status = 200;
        QList<QByteArray> chunks; // sent one chunk each; joined into a plain body when status is not 200
        bool breakOff = false;    // close the connection after the chunks, the body unfinished
        bool endless = false;     // after the chunks, keep sending words until the client hangs up
        bool silent = false;      // after the chunks, send nothing until the client hangs up
    };
    struct Received
    {
        QString path;
        QString authorization;
        QJsonObject body;
    };

    ScriptedUpstream();
    ~ScriptedUpstream();
    ScriptedUpstream(const ScriptedUpstream&) = delete;
    ScriptedUpstream& operator=(const ScriptedUpstream&) = delete;

    QString baseUrl() const { return QStringLiteral("http://127.0.0.1:%1/v1").arg(m_port); }
    QString serverName() const { return QStringLiteral("127.0.0.1:%1").arg(m_port); }

    void enqueue(const Reply& reply);
    QList<Received> received() const;
    bool clientHungUp() const { return m_hungUp; }
    int wordsSent() const { return m_wordsSent; }

    // One streamed piece of content, as such servers send it.
    static QByteArray content(const QString& text);

private:
    std::unique_ptr<httplib::Server> m_server;
    std::thread m_thread;
    int m_port = 0;
    mutable std::mutex m_mutex;
    QList<Reply> m_replies;
    QList<Received> m_received;
    std::atomic<bool> m_hungUp = false;
    std::atomic<int> m_wordsSent = 0;
};
