#include "desktop/DesktopPlatform.h"

#include "desktop/SystemDesktopPlatform.h"

#include <memory>

namespace {

DesktopPlatform* injected = nullptr;

} // namespace

DesktopPlatform& DesktopPlatform::system()
{
    if (injected) {
        return *injected;
    }
    static const std::unique_ptr<DesktopPlatform> real = makeSystemDesktopPlatform();
    return *real;
}

void DesktopPlatform::inject(DesktopPlatform* platform)
{
    injected = platform;
}
