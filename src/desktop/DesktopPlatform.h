#pragma once

#include <QObject>

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

    // The parent of work in flight that uses these services (a paste waiting to restore the clipboard),
    // so that it ends with them rather than outliving them.
    QObject& pendingWork() { return m_pendingWork; }

private:
    QObject m_pendingWork;
};
