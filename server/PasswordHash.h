#pragma once

#include <QString>

// Passwords are kept only as salted PBKDF2-HMAC-SHA256 hashes, in the self-describing form
// "pbkdf2-sha256$ITERATIONS$SALT$HASH" (salt and hash in base64).
namespace PasswordHash {

constexpr int defaultRounds = 200000;

QString make(const QString& password, int rounds = defaultRounds);
// False for a wrong password and for a stored value that is not such a hash.
bool matches(const QString& password, const QString& stored);

} // namespace PasswordHash
