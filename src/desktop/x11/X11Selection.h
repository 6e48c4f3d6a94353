#pragma once

#include <QDeadlineTimer>
#include <QString>
#include <optional>

// Reads the PRIMARY selection or the clipboard through a connection of its own, from any thread: the owner is
// another process, which may never answer.
namespace X11Selection {

// Longer selections are left out rather than read in many round trips.
inline constexpr int maxBytes = 1 << 20;

// The selection as text; absent when nobody owns it, when the owner does not answer by the deadline, or
// when it is not text or longer than maxBytes.
std::optional<QString> readPrimary(QDeadlineTimer deadline);
std::optional<QString> readClipboard(QDeadlineTimer deadline);

} // namespace X11Selection
