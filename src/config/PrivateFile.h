#pragma once

#include "base/Result.h"

#include <QByteArray>
#include <QString>
#include <optional>

// Files that hold secrets: written atomically and never readable by anyone but the owner, not even
// while being written.
namespace PrivateFile {

// Creates the folder and its missing parents, each with mode 0700; existing ones keep their mode.
Result<void> makeDirectories(const QString& directory);
// Replaces the file as a whole (readers see the old or the new bytes, never a part); mode 0600. A
// symbolic link at the path is replaced, never followed.
Result<void> write(const QString& path, const QByteArray& bytes);

} // namespace PrivateFile
