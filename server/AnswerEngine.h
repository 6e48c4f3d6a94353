#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

// What the agent asked, as the service reads it from the request body.
struct AskInput
{
    QString text;
    std::optional<QString> selection;
    std::optional<QString> before;
    std::optional<QString> after;
    std::optional<QString> app;
    std::optional<QString> copied;
    std::optional<QString> draft;
    std::optional<QString> adjust;
    QString device;
};

// Where an engine writes its answer: one event (name and JSON data) at a time. `send` returns false
// once the agent has hung up; the engine then stops at once.
class EventSink
{
public:
    virtual ~EventSink() = default;
    virtual bool send(const QString& event, const QJsonObject& data) = 0;
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
