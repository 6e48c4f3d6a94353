#include "EngineChoice.h"

#include "OfflineEngine.h"
#include "ServiceOptions.h"

namespace EngineChoice {

std::unique_ptr<AnswerEngine> make(const ServiceOptions& options)
{
    return std::make_unique<OfflineEngine>(options.wordDelay);
}

} // namespace EngineChoice
