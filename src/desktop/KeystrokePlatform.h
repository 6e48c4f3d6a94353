#pragma once

#include "desktop/KeyChord.h"
#include "desktop/RunningApp.h"

// Synthetic input and window activation.
class KeystrokePlatform
{
public:
    virtual ~KeystrokePlatform() = default;

    // Presses and releases the chord's modifiers and key, as a user would type them.
    virtual void sendKey(const KeyChord& chord) = 0;
    // Whether the user still holds any key: a synthetic key sent now would be combined with it.
    virtual bool keysHeld() = 0;
    virtual void activate(const RunningApp& app) = 0;
    // Whether the app's window is the active one, which receives the keys sent now.
    virtual bool isActive(const RunningApp& app) = 0;
};
