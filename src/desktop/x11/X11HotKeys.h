#pragma once

#include "desktop/HotKeyPlatform.h"

#include <QList>
#include <xcb/xcb.h>

class X11Connection;
class X11Keys;

// Passive grabs on the root window, one for every NumLock/CapsLock state, so that the shortcut works
// whatever the lock keys say. Auto-repeat is folded into one press and one release.
class X11HotKeys : public HotKeyPlatform
{
public:
    X11HotKeys(X11Connection& connection, const X11Keys& keys);

    bool registerHotKey(HotKeyId id, const KeyChord& chord) override;
    void unregisterHotKey(HotKeyId id) override;

    void handleEvent(const xcb_generic_event_t& event);

private:
    struct Grab
    {
        HotKeyId id;
        xcb_keycode_t keycode = 0;
        uint16_t modifiers = 0;
        bool down = false;
    };

    QList<uint16_t> lockVariants() const;
    void ungrab(xcb_keycode_t keycode, uint16_t modifiers);

    X11Connection& m_connection;
    const X11Keys& m_keys;
    QList<Grab> m_grabs;
};
