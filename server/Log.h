#pragma once

#include <QString>

// The service's log: one time-stamped line per call on standard error, whole lines even when worker
// threads write at once, control characters escaped. Tokens, passwords and codes never go here.
namespace Log {

void line(const QString& text);

} // namespace Log
