#include "UpstreamEngine.h"

#include "ChatStreamParser.h"
#include "HangUpWatch.h"
#include "Log.h"
#include "Prompt.h"
#include "UpstreamFailure.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <atomic>
#include <httplib.h>
#include <variant>

using namespace std::chrono_literals;

namespace {

constexpr auto connectTimeout = 10s;
// As long as the agent waits for a silent stream; longer would only keep a dead ask alive.
constexpr auto readTimeout = 60s;
constexpr qsizetype maxErrorBodyBytes = 4096;

// One ask on its way through the model server: the request, the reading of the reply, the events.
class Exchange
{
public:
    Exchange(const UpstreamSettings& settings, EventSink& sink) : m_settings(settings), m_sink(sink) {}

    void run(const QByteArray& body)
    {
        m_clock.start();
        if (!m_sink.send(QStringLiteral("route"), {{QStringLiteral("route"), m_settings.model},
                                                   {QStringLiteral("source"), m_settings.serverName()}}))
            return;
        const httplib::Error error = send(body);
        if (m_agentGone || m_failed)
            return;
        if (m_status != 200 && m_status > 0) {
            fail(UpstreamFailure::status(m_settings.serverName(), m_status, m_errorBody));
            return;
        }
        if (error != httplib::Error::Success) {
            fail(UpstreamFailure::transport(m_settings.serverName(), error,
                                            std::chrono::milliseconds(m_sinceData.elapsed()), readTimeout));
            return;
        }
        if (!m_parser.complete()) {
            fail(UpstreamFailure::incomplete(m_settings.serverName()));
            return;
        }
        m_sink.send(QStringLiteral("done"),
                    {{QStringLiteral("ms"), m_clock.elapsed()}, {QStringLiteral("route"), m_settings.model}});
    }

private:
    httplib::Error send(const QByteArray& body)
    {
        httplib::Client client(QStringLiteral("%1://%2")
                                   .arg(m_settings.endpoint.scheme(), m_settings.serverName())
                                   .toStdString());
        client.set_connection_timeout(connectTimeout);
        client.set_read_timeout(readTimeout);
        client.set_write_timeout(connectTimeout);

        httplib::Request request;
        request.method = "POST";
        request.path =
            m_settings.endpoint.toString(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::FullyEncoded)
                .toStdString();
        request.body = body.toStdString();
        request.set_header("Content-Type", "application/json");
        request.set_header("Accept", "text/event-stream");
        // Compressed streams tend to arrive in bursts; every word should travel on its own.
        request.set_header("Accept-Encoding", "identity");
        if (!m_settings.apiKey.isEmpty())
            request.set_header("Authorization", "Bearer " + m_settings.apiKey.toStdString());
        request.response_handler = [this](const httplib::Response& response) {
            m_status = response.status;
            return true;
        };
        request.content_receiver = [this](const char* data, std::size_t length, std::uint64_t,
                                          std::uint64_t) {
            m_sinceData.start();
            const QByteArrayView bytes(data, static_cast<qsizetype>(length));
            return m_status == 200 ? forward(bytes) : keepErrorBody(bytes);
        };

        m_sinceData.start();
        httplib::Response response;
        httplib::Error error = httplib::Error::Success;
        {
            // Closing the upstream socket ends a read that may otherwise wait for a silent server.
            const HangUpWatch watch(m_sink, [this, &client] {
                m_agentGone = true;
                client.stop();
            });
            client.send(request, response, error);
        }
        return error;
    }

    // Returning false cancels the upstream request at once.
    bool forward(QByteArrayView bytes)
    {
        QList<ChatStream::Item> items;
        m_parser.feed(bytes, items);
        for (const ChatStream::Item& item : items) {
            if (const auto* failure = std::get_if<ChatStream::Failure>(&item)) {
                fail(failure->message);
                return false;
            }
            if (!m_sink.send(QStringLiteral("delta"),
                             {{QStringLiteral("t"), std::get<ChatStream::Piece>(item).text}})) {
                m_agentGone = true;
                return false;
            }
        }
        return true;
    }

    bool keepErrorBody(QByteArrayView bytes)
    {
        m_errorBody += bytes.first(std::min(bytes.size(), maxErrorBodyBytes - m_errorBody.size()));
        return true;
    }

    void fail(const QString& message)
    {
        m_failed = true;
        // Some servers repeat the key they were given in their error messages.
        const QString shown = m_settings.apiKey.isEmpty()
                                  ? message
                                  : QString(message).replace(m_settings.apiKey, QStringLiteral("[API key]"));
        Log::line(QStringLiteral("upstream: ") + shown);
        m_sink.send(QStringLiteral("error"), {{QStringLiteral("message"), shown}});
    }

    const UpstreamSettings& m_settings;
    EventSink& m_sink;
    ChatStreamParser m_parser;
    QElapsedTimer m_clock;
    QElapsedTimer m_sinceData;
    QByteArray m_errorBody;
    int m_status = -1;
    std::atomic<bool> m_agentGone = false;
    bool m_failed = false;
};

} // namespace

UpstreamEngine::UpstreamEngine(UpstreamSettings settings) : m_settings(std::move(settings)) {}

void UpstreamEngine::answer(const AskInput& input, EventSink& sink)
{
    const QJsonObject body{{QStringLiteral("model"), m_settings.model},
                           {QStringLiteral("messages"), Prompt::messages(input)},
                           {QStringLiteral("stream"), true}};
    Exchange(m_settings, sink).run(QJsonDocument(body).toJson(QJsonDocument::Compact));
}
