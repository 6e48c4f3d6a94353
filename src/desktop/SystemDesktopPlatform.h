#pragma once

#include "desktop/DesktopPlatform.h"

#include <memory>

// The real desktop services of the platform this build targets.
std::unique_ptr<DesktopPlatform> makeSystemDesktopPlatform();
