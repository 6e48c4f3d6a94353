#pragma once

#include "base/Result.h"

#include <QString>

// "Start at login": an XDG autostart entry for this program, written or removed. Off until the user
// turns it on.
namespace Autostart {

// $XDG_CONFIG_HOME/autostart/tavrin.desktop (~/.config when the variable is unset).
QString entryPath();
bool isEnabled();
// Writes the entry for the given program, or removes it; the failure says why.
Result<void> setEnabled(bool enabled, const QString& program);

} // namespace Autostart
