#include "HistoryRecorder.h"

#include "AskHistory.h"
#include "Log.h"

namespace {

// Whatever an engine streams, what is kept of one answer stays bounded.
constexpr qsizetype maxAnswer = 256 * 1024;

} // namespace

HistoryRecorder::HistoryRecorder(EventSink& agent, AskHistory& history, QString email, const AskInput& input)
    : m_agent(agent), m_history(history), m_email(std::move(email)),
      m_request(input.adjust ? input.text + QStringLiteral(" (") + *input.adjust + QLatin1Char(')')
                             : input.text),
      m_app(input.app.value_or(QString()))
{}

bool HistoryRecorder::send(const QString& event, const QJsonObject& data)
{
    if (event == QLatin1String("route"))
        m_route = data.value(QStringLiteral("route")).toString();
    else if (event == QLatin1String("delta") && m_answer.size() < maxAnswer)
        m_answer += data.value(QStringLiteral("t")).toString().left(maxAnswer - m_answer.size());
    const bool delivered = m_agent.send(event, data);
    if (delivered && event == QLatin1String("done")) {
        const AskHistory::Entry entry{0, {}, m_app, m_request, m_answer, m_route};
        if (const std::optional<QString> problem = m_history.record(m_email, entry))
            Log::line(QStringLiteral("history: not kept: %1").arg(*problem));
    }
    return delivered;
}
