#include "Prompt.h"

#include <QJsonObject>
#include <QStringList>

namespace {

const char* const standingInstructions =
    R"(You write text that the user pastes, exactly as you write it, into the application they are working in.

Reply with that text and nothing else: no greeting or preamble ("Sure", "Here is"), no explanation, no closing remark, no quotation marks or code fences around it, no notes about what you changed.

The user's message may describe where the text goes:
- <app> names the application.
- <document> holds the text around the spot. <selection> marks the selected text, which your answer replaces; <cursor/> marks where your answer is inserted when nothing is selected.
- <copied> is a message the user copied and is replying to; write the reply.
- <request> is what the user wants.

Write in the language and the register of the surrounding text or of the message being replied to (formal or casual, its spelling and its conventions); when there is none, in the language of the request. Fit the format to the application: plain text unless the surrounding text uses markup.

If the request is a question, answer it directly and briefly. When asked to rework your previous answer, reply with the whole reworked text.)";

QString element(const QString& name, const QString& content)
{
    return QStringLiteral("<%1>%2</%1>").arg(name, content);
}

QJsonObject message(const QString& role, const QString& content)
{
    return {{QStringLiteral("role"), role}, {QStringLiteral("content"), content}};
}

bool hasText(const std::optional<QString>& field)
{
    return field && !field->isEmpty();
}

// The selection in its place among the text around it, or the cursor where nothing is selected.
QString document(const AskInput& input)
{
    const QString spot = hasText(input.selection) ? element(QStringLiteral("selection"), *input.selection)
                                                  : QStringLiteral("<cursor/>");
    return element(QStringLiteral("document"),
                   input.before.value_or(QString()) + spot + input.after.value_or(QString()));
}

QString request(const AskInput& input)
{
    QStringList parts;
    if (hasText(input.app))
        parts << element(QStringLiteral("app"), *input.app);
    if (hasText(input.selection) || hasText(input.before) || hasText(input.after))
        parts << document(input);
    if (hasText(input.copied))
        parts << element(QStringLiteral("copied"), *input.copied);
    // An instruction without an answer to rework is part of the request itself.
    const bool looseInstruction = !input.draft && hasText(input.adjust);
    parts << element(QStringLiteral("request"),
                     looseInstruction ? input.text + QLatin1Char('\n') + *input.adjust : input.text);
    return parts.join(QLatin1Char('\n'));
}

QString rework(const AskInput& input)
{
    const QString instruction = input.adjust.value_or(QString()).trimmed();
    if (instruction.isEmpty())
        return QStringLiteral("Rework your previous answer.");
    return QStringLiteral("Rework your previous answer: %1").arg(instruction);
}

} // namespace

namespace Prompt {

QString instructions()
{
    return QString::fromUtf8(standingInstructions);
}

QJsonArray messages(const AskInput& input)
{
    QJsonArray conversation{message(QStringLiteral("system"), instructions()),
                            message(QStringLiteral("user"), request(input))};
    if (input.draft) {
        conversation.append(message(QStringLiteral("assistant"), *input.draft));
        conversation.append(message(QStringLiteral("user"), rework(input)));
    }
    return conversation;
}

} // namespace Prompt
