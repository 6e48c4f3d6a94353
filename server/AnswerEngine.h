#pragma once

#include "protocol/AskRequest.h"

#include <QJsonObject>
#include <QString>

// What the agent asked: the same record it sends.
using AskInput = AskRequest;

// Where an engine writes its answer: one event (name and JSON data) at a time. `send` returns false
// once the agent has hung up; the engine then stops at once.
class EventSink
{
public:
    virtual ~EventSink() = default;
    virtual bool send(const QString& event, const QJsonObject& data) = 0;
    // Whether the agent is still there, for engines that wait on something silent; any thread may ask.
    virtual bool agentConnected() { return true; }
};

// Something that answers asks: the offline engine, or a language model behind an upstream server.
// `answer` runs on one of the server's worker threads and returns when the answer is complete, has
// failed (after sending an "error" event) or the sink reported that the agent is gone.
class AnswerEngine
{
public:
    virtual ~AnswerEngine() = default;
    virtual void answer(const AskInput& input, EventSink& sink) = 0;
};
