#pragma once

#include "FakeClipboard.h"
#include "FakeFocusReader.h"
#include "FakeHotKeyPlatform.h"
#include "FakeKeystrokePlatform.h"
#include "desktop/DesktopPlatform.h"

// A whole fake desktop, injected as the process's platform for the lifetime of the object.
class FakeDesktopPlatform : public DesktopPlatform
{
public:
    FakeDesktopPlatform() { DesktopPlatform::inject(this); }
    ~FakeDesktopPlatform() override { DesktopPlatform::inject(nullptr); }
    FakeDesktopPlatform(const FakeDesktopPlatform&) = delete;
    FakeDesktopPlatform& operator=(const FakeDesktopPlatform&) = delete;

    FakeFocusReader reader;
    FakeClipboard board;
    FakeKeystrokePlatform keys{board};
    FakeHotKeyPlatform shortcuts;

    FocusReader& focusReader() override { return reader; }
    KeystrokePlatform& keystrokes() override { return keys; }
    Clipboard& clipboard() override { return board; }
    HotKeyPlatform& hotKeys() override { return shortcuts; }
};
