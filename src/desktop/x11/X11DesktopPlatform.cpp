#include "desktop/x11/X11DesktopPlatform.h"

#include "desktop/SystemDesktopPlatform.h"

X11DesktopPlatform::X11DesktopPlatform()
    : m_keys(m_connection.get()), m_windows(m_connection), m_focusReader(m_windows, m_accessibility),
      m_keystrokes(m_connection, m_keys), m_hotKeys(m_connection, m_keys)
{
    m_connection.setEventHandler([this](const xcb_generic_event_t& event) { m_hotKeys.handleEvent(event); });
}

std::unique_ptr<DesktopPlatform> makeSystemDesktopPlatform()
{
    return std::make_unique<X11DesktopPlatform>();
}
