#include "ChunkedEventSink.h"

#include <QJsonDocument>
#include <httplib.h>

ChunkedEventSink::ChunkedEventSink(httplib::DataSink& sink) : m_sink(sink) {}

bool ChunkedEventSink::send(const QString& event, const QJsonObject& data)
{
    const std::lock_guard lock(m_mutex);
    if (m_agentGone)
        return false;
    const QByteArray frame =
        "event: " + event.toUtf8() + "\ndata: " + QJsonDocument(data).toJson(QJsonDocument::Compact) + "\n\n";
    if (!m_sink.write(frame.constData(), static_cast<std::size_t>(frame.size()))) {
        m_agentGone = true;
        return false;
    }
    ++m_sent;
    return true;
}

bool ChunkedEventSink::agentConnected()
{
    const std::lock_guard lock(m_mutex);
    if (!m_agentGone && !m_sink.is_writable())
        m_agentGone = true;
    return !m_agentGone;
}
