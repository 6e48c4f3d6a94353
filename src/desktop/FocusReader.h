#pragma once

#include "desktop/RunningApp.h"

#include <QDeadlineTimer>
#include <QString>
#include <optional>

// A selection or caret inside an element's text, in UTF-16 code units; read as reported, never trusted.
struct TextRange
{
    qint64 location = 0;
    qint64 length = 0;
};

// What the focused element of the frontmost application tells about its text.
struct FocusedElement
{
    std::optional<QString> selectedText;
    std::optional<QString> value;
    std::optional<TextRange> selectedRange;
};

// The platform's view of other applications' text. Nothing here fails: what cannot be read is absent.
// frontmostApp() is asked on the main thread and answers at once. The other calls wait on other
// processes, which may never answer: they are made on one worker thread (running an event loop), one
// at a time, and give up soon after their deadline.
class FocusReader
{
public:
    virtual ~FocusReader() = default;

    virtual std::optional<RunningApp> frontmostApp() = 0;
    // Whether reading other applications' text is possible at all (the accessibility service is on).
    virtual bool isTrusted(QDeadlineTimer deadline) = 0;
    virtual std::optional<FocusedElement> focusedElement(const std::optional<RunningApp>& app,
                                                         QDeadlineTimer deadline) = 0;
    // The selection as the platform knows it outside accessibility, only if it belongs to the app.
    virtual std::optional<QString> fallbackSelection(const std::optional<RunningApp>& app,
                                                     QDeadlineTimer deadline) = 0;
    // The clipboard's text: its owner is another process too.
    virtual std::optional<QString> clipboardText(QDeadlineTimer deadline) = 0;
};
