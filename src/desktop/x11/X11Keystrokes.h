#pragma once

#include "desktop/KeystrokePlatform.h"

class X11Connection;
class X11Keys;

// Synthetic keys through XTest and activation through the window manager.
class X11Keystrokes : public KeystrokePlatform
{
public:
    X11Keystrokes(X11Connection& connection, const X11Keys& keys);

    void sendKey(const KeyChord& chord) override;
    bool keysHeld() override;
    void activate(const RunningApp& app) override;
    bool isActive(const RunningApp& app) override;

private:
    X11Connection& m_connection;
    const X11Keys& m_keys;
};
