#pragma once

#include <QString>

// Text from the network on its way to a terminal: control characters other than line feeds and tabs are
// dropped (carriage returns too), so that an answer cannot retitle the window, clear the screen, move
// the cursor or write over a line already shown.
namespace TerminalText {

QString printable(const QString& text);

} // namespace TerminalText
