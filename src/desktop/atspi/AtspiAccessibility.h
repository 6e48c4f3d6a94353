#pragma once

#include "desktop/FocusReader.h"

// Other applications' focused text through AT-SPI 2. Used from one thread only, which runs an event
// loop: AT-SPI's own messages are handled there, never on the main thread.
class AtspiAccessibility
{
public:
    // Applications expose their text only while the accessibility bus is enabled.
    bool isEnabled(QDeadlineTimer deadline);
    // The focused element of the application with this process; never our own process, which would
    // block on its own accessibility bridge. Each call to the application waits at most callTimeoutMs,
    // and the search stops at the deadline.
    std::optional<FocusedElement> focusedElement(qint64 processId, QDeadlineTimer deadline);

    static constexpr int callTimeoutMs = 800;

private:
    bool m_initialized = false;
};
