#include "platform/Platform.h"

#include "desktop/Dictation.h"
#include "desktop/audio/QtAudioInput.h"
#include "desktop/pocketsphinx/PocketSphinxRecognizer.h"
#include "platform/LinuxDesktop.h"

namespace Platform {

std::unique_ptr<DesktopPlatform> createDesktop()
{
    return std::make_unique<LinuxDesktop>();
}

std::unique_ptr<Dictation> createDictation(QObject* parent)
{
    return std::make_unique<Dictation>(std::make_unique<QtAudioInput>(),
                                       std::make_unique<PocketSphinxRecognizer>(), parent);
}

} // namespace Platform
