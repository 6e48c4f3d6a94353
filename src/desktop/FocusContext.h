#pragma once

#include "desktop/RunningApp.h"

#include <QString>
#include <optional>

class FocusReader;

// What the user was looking at when they summoned the agent: the application, its selected text
// and the text around the selection.
struct FocusContext
{
    static constexpr int maxBefore = 3000;
    static constexpr int maxAfter = 1000;

    std::optional<RunningApp> app;
    std::optional<QString> selection;
    std::optional<QString> before;
    std::optional<QString> after;

    static FocusContext capture(FocusReader& reader);

    bool operator==(const FocusContext&) const = default;
};
