#pragma once

#include <QList>
#include <Qt>
#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

// Qt's key names translated to the X server's keysyms, keycodes and modifier masks.
class X11Keys
{
public:
    explicit X11Keys(xcb_connection_t* connection);
    ~X11Keys();
    X11Keys(const X11Keys&) = delete;
    X11Keys& operator=(const X11Keys&) = delete;

    // 0 when the key has no place on the current keyboard map.
    xcb_keycode_t keycode(Qt::Key key) const;
    xcb_keycode_t keycodeForKeysym(xcb_keysym_t keysym) const;
    static uint16_t modifierMask(Qt::KeyboardModifiers modifiers);
    // The keys to hold for the modifiers, in the order a user presses them.
    QList<xcb_keycode_t> modifierKeycodes(Qt::KeyboardModifiers modifiers) const;
    // The mask of NumLock, which varies between keyboard maps.
    uint16_t numLockMask() const { return m_numLockMask; }

    // Reads the keyboard map afresh, after the server announced that it changed.
    void reload();

private:
    uint16_t findNumLockMask() const;

    xcb_connection_t* m_connection;
    xcb_key_symbols_t* m_symbols;
    uint16_t m_numLockMask = 0;
};
