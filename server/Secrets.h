#pragma once

#include <QString>

// Random secrets from the system's generator, and the digests under which tokens are kept.
namespace Secrets {

QString deviceToken();     // 256 bits, URL-safe
QString digits(int count); // e-mailed codes
QString pairingCode();     // 8 letters and digits that are hard to confuse, like ABCD2345
QString ticket();          // 128 bits, URL-safe

// The SHA-256 of a token, hex: what the state file holds instead of the token itself.
QString digest(const QString& token);
// Equal in time independent of where they differ.
bool same(const QString& a, const QString& b);

} // namespace Secrets
