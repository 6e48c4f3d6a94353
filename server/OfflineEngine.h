#pragma once

#include "AnswerEngine.h"

#include <QStringList>
#include <chrono>

// The engine that needs no language model: a fixed, deterministic answer that says plainly what it is
// and reflects the request back, streamed a word at a time so that clients see a real stream.
class OfflineEngine : public AnswerEngine
{
public:
    static inline const QString route = QStringLiteral("offline");

    explicit OfflineEngine(std::chrono::milliseconds wordDelay);

    void answer(const AskInput& input, EventSink& sink) override;

    static QString compose(const AskInput& input);
    // Word-sized pieces whose concatenation is exactly the text: each word keeps the blanks after it.
    static QStringList words(const QString& text);

private:
    std::chrono::milliseconds m_wordDelay;
};
