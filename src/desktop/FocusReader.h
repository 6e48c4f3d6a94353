#pragma once

#include "desktop/RunningApp.h"

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

// The platform's view of other applications' text, read on the main thread. Nothing here fails:
// what cannot be read is absent.
class FocusReader
{
public:
    virtual ~FocusReader() = default;

    virtual std::optional<RunningApp> frontmostApp() = 0;
    // Whether reading other applications' text is possible at all (the accessibility service is on).
    virtual bool isTrusted() = 0;
    virtual std::optional<FocusedElement> focusedElement(const std::optional<RunningApp>& app) = 0;
    // The selection as the platform knows it outside accessibility, only if it belongs to the app.
    virtual std::optional<QString> fallbackSelection(const std::optional<RunningApp>& app) = 0;
};
