#pragma once

class Clipboard;
class FocusReader;
class HotKeyPlatform;
class KeystrokePlatform;

// The desktop services of one platform, created by the composition root and handed to whoever needs them.
class DesktopPlatform
{
public:
    virtual ~DesktopPlatform() = default;

    virtual FocusReader& focusReader() = 0;
    virtual KeystrokePlatform& keystrokes() = 0;
    virtual Clipboard& clipboard() = 0;
    virtual HotKeyPlatform& hotKeys() = 0;
};
