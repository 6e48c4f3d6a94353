#pragma once

#include "desktop/KeyChord.h"

#include <QtGlobal>

// The identity under which a hot key is registered with the system.
struct HotKeyId
{
    quint32 signature = 0;
    quint32 id = 0;
};

// System-wide shortcuts. An adapter reports presses and releases through HotKey::deliver, from any
// thread, exactly one press and one release per physical press.
class HotKeyPlatform
{
public:
    virtual ~HotKeyPlatform() = default;

    // False when the system refuses, for instance because another client holds the shortcut.
    virtual bool registerHotKey(HotKeyId id, const KeyChord& chord) = 0;
    virtual void unregisterHotKey(HotKeyId id) = 0;
};
