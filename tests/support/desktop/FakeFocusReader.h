#pragma once

#include "desktop/FocusReader.h"

// A scripted view of the desktop: tests set the fields, capture reads them.
class FakeFocusReader : public FocusReader
{
public:
    std::optional<RunningApp> app;
    bool trusted = true;
    std::optional<FocusedElement> element;
    std::optional<QString> fallback;
    int fallbackReads = 0;

    std::optional<RunningApp> frontmostApp() override { return app; }
    bool isTrusted() override { return trusted; }
    std::optional<FocusedElement> focusedElement(const std::optional<RunningApp>&) override
    {
        return element;
    }
    std::optional<QString> fallbackSelection(const std::optional<RunningApp>&) override
    {
        ++fallbackReads;
        return fallback;
    }
};
