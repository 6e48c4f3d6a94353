#include "platform/Platform.h"

#include "desktop/Dictation.h"
#include "desktop/audio/QtAudioInput.h"
#include "desktop/pocketsphinx/PocketSphinxRecognizer.h"
#include "desktop/x11/X11FloatingWindows.h"
#include "platform/LinuxDesktop.h"

#include <QGuiApplication>

namespace {

// Away from X11 (the offscreen platform of the tests, for one) Qt's window flags are all there is.
class QtFloatingWindows : public FloatingWindowPlatform
{
public:
    void keepOnEveryWorkspace(WId) override {}
    void activate(WId) override {}
    bool hasCompositor() override { return true; }
};

} // namespace

namespace Platform {

std::unique_ptr<DesktopPlatform> createDesktop()
{
    return std::make_unique<LinuxDesktop>();
}

std::unique_ptr<FloatingWindowPlatform> createFloatingWindows()
{
    // The window ids must be X11 windows, which they are only when Qt itself runs on X11.
    if (QGuiApplication::platformName() == QLatin1String("xcb"))
        return std::make_unique<X11FloatingWindows>();
    return std::make_unique<QtFloatingWindows>();
}

std::unique_ptr<Dictation> createDictation(QObject* parent)
{
    return std::make_unique<Dictation>(std::make_unique<QtAudioInput>(),
                                       std::make_unique<PocketSphinxRecognizer>(), parent);
}

} // namespace Platform
