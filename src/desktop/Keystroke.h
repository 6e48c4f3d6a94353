#pragma once

#include "desktop/RunningApp.h"

#include <QString>
#include <chrono>
#include <optional>

class DesktopPlatform;

// Pasting text into another application.
namespace Keystroke {

using namespace std::chrono_literals;

inline constexpr std::chrono::milliseconds pasteDelay = 120ms;
inline constexpr std::chrono::milliseconds restoreDelay = 600ms;
// A paste waits this long at most for the user to let go of the keys they hold and for the application
// to come to the front, looking again at this interval.
inline constexpr std::chrono::milliseconds readyWait = 1000ms;
inline constexpr std::chrono::milliseconds readyPoll = 20ms;

// Returns at once: the text goes on the clipboard now, the application is brought to the front,
// the paste key follows after pasteDelay and the previous clipboard returns restoreDelay later.
void insert(DesktopPlatform& desktop, const QString& text, const std::optional<RunningApp>& into);

} // namespace Keystroke
