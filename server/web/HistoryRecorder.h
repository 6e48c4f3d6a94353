#pragma once

#include "AnswerEngine.h"

class AskHistory;

// Passes an answer's events on to the agent unchanged and, once the answer is complete, keeps the ask
// and its answer in the account's history. Failed and abandoned answers are not kept.
class HistoryRecorder : public EventSink
{
public:
    HistoryRecorder(EventSink& agent, AskHistory& history, QString email, const AskInput& input);

    bool send(const QString& event, const QJsonObject& data) override;
    bool agentConnected() override { return m_agent.agentConnected(); }

private:
    EventSink& m_agent;
    AskHistory& m_history;
    QString m_email;
    QString m_request;
    QString m_app;
    QString m_answer;
    QString m_route;
};
