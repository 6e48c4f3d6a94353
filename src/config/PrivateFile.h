#pragma once

#include "base/Error.h"

#include <QByteArray>
#include <QString>
#include <optional>

// Files that hold secrets: written atomically, never readable by anyone but the owner, not even while
// being written; folders created on the way get mode 0700.
namespace PrivateFile {

std::optional<Error> makeDirectories(const QString& directory);
std::optional<Error> write(const QString& path, const QByteArray& bytes);

} // namespace PrivateFile
