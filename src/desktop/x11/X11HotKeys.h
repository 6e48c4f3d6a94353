#pragma once

#include "desktop/HotKeyPlatform.h"

#include <QList>
#include <xcb/xcb.h>

class X11Connection;
class X11Keys;

// Passive grabs on the root window, one for every NumLock/CapsLock state, so that the shortcut works
// whatever the lock keys say. Auto-repeat is folded into one press and one release. When the keyboard
// map or layout changes, the key codes and the NumLock mask are read again and the grabs renewed.
class X11HotKeys : public HotKeyPlatform
{
public:
    X11HotKeys(X11Connection& connection, X11Keys& keys);

    bool registerHotKey(HotKeyId id, const KeyChord& chord) override;
    void unregisterHotKey(HotKeyId id) override;

    void handleEvent(const xcb_generic_event_t& event);

private:
    struct Grab
    {
        HotKeyId id;
        KeyChord chord;
        xcb_keycode_t keycode = 0;
        uint16_t modifiers = 0;
        uint16_t numLockMask = 0; // as it was when grabbed, so that the same variants are released
        bool down = false;
    };

    static QList<uint16_t> lockVariants(uint16_t numLockMask);
    // Grabs every lock variant, or none when another client holds any of them.
    bool grab(xcb_keycode_t keycode, uint16_t modifiers);
    void ungrab(const Grab& grab);
    bool isMappingChange(const xcb_generic_event_t& event) const;
    void renewGrabs();

    X11Connection& m_connection;
    X11Keys& m_keys;
    QList<Grab> m_grabs;
    uint8_t m_xkbFirstEvent = 0;
};
