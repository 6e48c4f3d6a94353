#pragma once

#include "desktop/FocusReader.h"

// Other applications' focused text through AT-SPI 2.
class AtspiAccessibility
{
public:
    // Applications expose their text only while the accessibility bus is enabled.
    bool isEnabled();
    // The focused element of the application with this process; never our own process, which would
    // block on its own accessibility bridge.
    std::optional<FocusedElement> focusedElement(qint64 processId);

private:
    bool m_initialized = false;
};
