#pragma once

#include <QString>

// Texts written with the Mac's key symbols, shown with this desktop's words for them.
namespace PlatformWords {

// The shortcuts in force, in this desktop's notation ("Alt+Space", "Alt+Shift+Space").
QString askShortcut();
QString replyShortcut();

// "⌥⇧Space" and "⌥Space" become the reply and ask shortcuts in force; then "⌥", "⇧" and "⌘" become
// "Alt+", "Shift+" and "Ctrl+", and the word "Mac" becomes "computer".
QString localize(const QString& text);

} // namespace PlatformWords
