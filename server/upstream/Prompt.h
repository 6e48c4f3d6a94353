#pragma once

#include "AnswerEngine.h"

#include <QJsonArray>
#include <QString>

// Everything the model is told: the standing instructions and how one ask becomes a conversation.
// Kept in one place so that what the model reads can be checked and tuned without reading the engine.
namespace Prompt {

// The standing instructions, sent as the system message of every ask.
QString instructions();

// The chat messages for one ask: the instructions, the request in its context and, for a rework,
// the earlier answer as the model's own turn followed by the instruction to rework it.
QJsonArray messages(const AskInput& input);

} // namespace Prompt
