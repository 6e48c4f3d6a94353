#pragma once

#include "desktop/KeyChord.h"
#include "desktop/RunningApp.h"

#include <QString>
#include <chrono>
#include <optional>

// Synthetic keys and pasting text into another application, through the process's desktop platform.
namespace Keystroke {

using namespace std::chrono_literals;

inline constexpr std::chrono::milliseconds pasteDelay = 120ms;
inline constexpr std::chrono::milliseconds restoreDelay = 600ms;
// A paste waits this long at most for the user to let go of the keys they hold.
inline constexpr std::chrono::milliseconds keyReleaseWait = 1000ms;
inline constexpr std::chrono::milliseconds keyReleasePoll = 20ms;

void send(const KeyChord& chord);

// Returns at once: the text goes on the clipboard now, the application is brought to the front,
// the paste key follows after pasteDelay and the previous clipboard returns restoreDelay later.
void insert(const QString& text, const std::optional<RunningApp>& into);

} // namespace Keystroke
