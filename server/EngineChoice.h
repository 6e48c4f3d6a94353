#pragma once

#include "AnswerEngine.h"

#include <memory>

struct ServiceOptions;

// The one place that decides which engine answers, from the options.
namespace EngineChoice {

std::unique_ptr<AnswerEngine> make(const ServiceOptions& options);

} // namespace EngineChoice
