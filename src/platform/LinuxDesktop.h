#pragma once

#include "desktop/DesktopPlatform.h"
#include "desktop/QtClipboard.h"
#include "desktop/atspi/AtspiAccessibility.h"
#include "desktop/x11/X11Connection.h"
#include "desktop/x11/X11HotKeys.h"
#include "desktop/x11/X11Keys.h"
#include "desktop/x11/X11Keystrokes.h"
#include "desktop/x11/X11Windows.h"
#include "platform/LinuxFocusReader.h"

// The desktop of an X11 session with AT-SPI accessibility.
class LinuxDesktop : public DesktopPlatform
{
public:
    LinuxDesktop();

    FocusReader& focusReader() override { return m_focusReader; }
    KeystrokePlatform& keystrokes() override { return m_keystrokes; }
    Clipboard& clipboard() override { return m_clipboard; }
    HotKeyPlatform& hotKeys() override { return m_hotKeys; }

private:
    X11Connection m_connection;
    X11Keys m_keys;
    X11Windows m_windows;
    AtspiAccessibility m_accessibility;
    LinuxFocusReader m_focusReader;
    X11Keystrokes m_keystrokes;
    X11HotKeys m_hotKeys;
    QtClipboard m_clipboard;
};
