#pragma once

#include "config/AgentConfig.h"

#include <QString>
#include <cstdio>

// `tavrin --ask QUESTION`: streams one answer to standard output; returns the exit status.
namespace CommandLineAsk {

int run(const QString& question, std::FILE* out);

} // namespace CommandLineAsk
