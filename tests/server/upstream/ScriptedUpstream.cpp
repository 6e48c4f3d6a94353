#include "ScriptedUpstream.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <chrono>
#include <csignal>
#include <httplib.h>

namespace {

// Long enough that only a hang-up explains an early end.
constexpr int endlessWords = 1000;

} // namespace

ScriptedUpstream::ScriptedUpstream() : m_server(std::make_unique<httplib::Server>())
{
    // Writing to a client that hung up must fail the write, not end the test process.
    std::signal(SIGPIPE, SIG_IGN);
    m_server->set_tcp_nodelay(true);
    m_server->Post(".*", [this](const httplib::Request& request, httplib::Response& response) {
        Reply reply;
        {
            const std::lock_guard lock(m_mutex);
            m_received.append({QString::fromStdString(request.path),
                               QString::fromStdString(request.get_header_value("Authorization")),
                               QJsonDocument::fromJson(QByteArray::fromStdString(request.body)).object()});
            reply = m_replies.isEmpty() ? Reply{500, {"{\"error\":\"nothing scripted\"}"}}
                                        : m_replies.takeFirst();
        }
        response.status = reply.status;
        if (reply.status != 200) {
            response.set_content(reply.chunks.join().toStdString(), "application/json");
            return;
        }
        response.set_chunked_content_provider(
            "text/event-stream",
            [this, reply, next = qsizetype(0)](std::size_t, httplib::DataSink& sink) mutable {
                if (next < reply.chunks.size()) {
                    const QByteArray& chunk = reply.chunks.at(next++);
                    return sink.write(chunk.constData(), static_cast<std::size_t>(chunk.size()));
                }
                if (reply.endless && m_wordsSent < endlessWords) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(5));
                    const QByteArray word = content(QStringLiteral("word "));
                    if (!sink.write(word.constData(), static_cast<std::size_t>(word.size()))) {
                        m_hungUp = true;
                        return false;
                    }
                    ++m_wordsSent;
                    return true;
                }
                if (reply.silent) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(10));
                    m_hungUp = !sink.is_writable();
                    return !m_hungUp;
                }
                if (reply.breakOff)
                    return false;
                sink.done();
                return true;
            });
    });
    m_port = m_server->bind_to_any_port("127.0.0.1");
    if (m_port <= 0)
        qFatal("the scripted upstream found no free port");
    m_thread = std::thread([this] { m_server->listen_after_bind(); });
    // stop() does nothing to a server that is not running yet, so the destructor could not end it.
    while (!m_server->is_running())
        std::this_thread::yield();
}

ScriptedUpstream::~ScriptedUpstream()
{
    m_server->stop();
    m_thread.join();
}

void ScriptedUpstream::enqueue(const Reply& reply)
{
    const std::lock_guard lock(m_mutex);
    m_replies.append(reply);
}

QList<ScriptedUpstream::Received> ScriptedUpstream::received() const
{
    const std::lock_guard lock(m_mutex);
    return m_received;
}

QByteArray ScriptedUpstream::content(const QString& text)
{
    const QJsonObject delta{{"content", text}};
    const QJsonObject chunk{{"object", "chat.completion.chunk"},
                            {"choices", QJsonArray{QJsonObject{{"delta", delta}}}}};
    return "data: " + QJsonDocument(chunk).toJson(QJsonDocument::Compact) + "\n\n";
}
