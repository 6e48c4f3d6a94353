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
// An application that has not read the pasted text by restoreDelay (a busy machine) gets until this
// long after the paste before the previous clipboard returns.
inline constexpr std::chrono::milliseconds restoreWait = 3000ms;
// A paste waits this long at most for the user to let go of the keys they hold and for the application
// to come to the front, looking again at this interval.
inline constexpr std::chrono::milliseconds readyWait = 1000ms;
inline constexpr std::chrono::milliseconds readyPoll = 20ms;

// Returns at once: the text goes on the clipboard now, the application is brought to the front,
// the paste key follows after pasteDelay and the previous clipboard returns restoreDelay later, once
// the application has read the text.
void insert(DesktopPlatform& desktop, const QString& text, const std::optional<RunningApp>& into);

} // namespace Keystroke
