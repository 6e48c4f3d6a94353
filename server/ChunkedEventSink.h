#pragma once

#include "AnswerEngine.h"

#include <mutex>

namespace httplib {
class DataSink;
}

// Writes each event as its own chunk of the response ("event:" line, "data:" line, blank line) and
// notices when the agent has hung up: from then on every send returns false.
class ChunkedEventSink : public EventSink
{
public:
    explicit ChunkedEventSink(httplib::DataSink& sink);

    bool send(const QString& event, const QJsonObject& data) override;
    bool agentConnected() override;

    bool agentGone() const { return m_agentGone; }
    int sent() const { return m_sent; }

private:
    std::mutex m_mutex; // the engine writes while a watcher may ask about the connection
    httplib::DataSink& m_sink;
    bool m_agentGone = false;
    int m_sent = 0;
};
