#include "EngineChoice.h"

#include "OfflineEngine.h"
#include "ServiceOptions.h"
#include "upstream/UpstreamEngine.h"

namespace EngineChoice {

std::unique_ptr<AnswerEngine> make(const ServiceOptions& options)
{
    if (options.upstream)
        return std::make_unique<UpstreamEngine>(*options.upstream);
    return std::make_unique<OfflineEngine>(options.wordDelay);
}

} // namespace EngineChoice
