#pragma once

class Clipboard;
class FocusReader;
class HotKeyPlatform;
class KeystrokePlatform;

// The desktop services of one platform. The process uses the real one unless a test injects its own.
class DesktopPlatform
{
public:
    virtual ~DesktopPlatform() = default;

    virtual FocusReader& focusReader() = 0;
    virtual KeystrokePlatform& keystrokes() = 0;
    virtual Clipboard& clipboard() = 0;
    virtual HotKeyPlatform& hotKeys() = 0;

    // The injected platform, else the real one (created on first use; needs a QGuiApplication).
    static DesktopPlatform& system();
    // Replaces the platform for the whole process; nullptr returns to the real one.
    static void inject(DesktopPlatform* platform);
};
