#pragma once

#include "AnswerEngine.h"
#include "UpstreamSettings.h"

// Answers with a language model behind an OpenAI-compatible chat-completions server: forwards each ask
// as a streamed completion and passes the model's words on as they arrive. The route is the model's
// name; the source names the server.
class UpstreamEngine : public AnswerEngine
{
public:
    explicit UpstreamEngine(UpstreamSettings settings);

    void answer(const AskInput& input, EventSink& sink) override;

private:
    UpstreamSettings m_settings;
};
