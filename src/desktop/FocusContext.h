#pragma once

#include "desktop/RunningApp.h"

#include <QDeadlineTimer>
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

    // The text around the focus of app, read through reader (on the capture's worker thread).
    static FocusContext readText(FocusReader& reader, const std::optional<RunningApp>& app,
                                 QDeadlineTimer deadline);

    bool operator==(const FocusContext&) const = default;
};
