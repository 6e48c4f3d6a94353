#pragma once

// The exit statuses of the command-line modes and the reference service, for scripts that call them.
namespace ExitStatus {

inline constexpr int success = 0;
inline constexpr int failure = 1;
inline constexpr int notSignedIn = 2;
// EX_USAGE of sysexits.h: the command line itself was wrong.
inline constexpr int usage = 64;

} // namespace ExitStatus
