#include "platform/LinuxDesktop.h"

LinuxDesktop::LinuxDesktop()
    : m_keys(m_connection.get()), m_windows(m_connection), m_focusReader(m_windows, m_accessibility),
      m_keystrokes(m_connection, m_keys), m_hotKeys(m_connection, m_keys)
{
    m_connection.setEventHandler([this](const xcb_generic_event_t& event) { m_hotKeys.handleEvent(event); });
}
