#pragma once

#include <QStringList>
#include <cstdio>
#include <optional>

// `tavrin --signin | --pair | --whoami | --new-code | --signout`, recognised only as the first argument.
// Returns the exit status, or nothing when the arguments are not an account command.
std::optional<int> runAccountCommand(const QStringList& arguments, std::FILE* out = stdout,
                                     std::FILE* err = stderr);
