#include "desktop/x11/X11Keys.h"

#include "desktop/x11/XcbReply.h"

#include <X11/keysym.h>
#include <cstdlib>
#include <memory>

namespace {

xcb_keysym_t keysymFor(Qt::Key key)
{
    if (key >= Qt::Key_A && key <= Qt::Key_Z) {
        return XK_a + xcb_keysym_t(key - Qt::Key_A);
    }
    if (key >= Qt::Key_0 && key <= Qt::Key_9) {
        return XK_0 + xcb_keysym_t(key - Qt::Key_0);
    }
    switch (key) {
    case Qt::Key_Space:
        return XK_space;
    case Qt::Key_Insert:
        return XK_Insert;
    case Qt::Key_Return:
        return XK_Return;
    case Qt::Key_Escape:
        return XK_Escape;
    case Qt::Key_Tab:
        return XK_Tab;
    default:
        return XCB_NO_SYMBOL;
    }
}

} // namespace

X11Keys::X11Keys(xcb_connection_t* connection)
    : m_connection(connection), m_symbols(connection ? xcb_key_symbols_alloc(connection) : nullptr)
{
    m_numLockMask = findNumLockMask();
}

void X11Keys::reload()
{
    if (!m_connection) {
        return;
    }
    if (m_symbols) {
        xcb_key_symbols_free(m_symbols);
    }
    // The symbols are fetched again on first use.
    m_symbols = xcb_key_symbols_alloc(m_connection);
    m_numLockMask = findNumLockMask();
}

X11Keys::~X11Keys()
{
    if (m_symbols) {
        xcb_key_symbols_free(m_symbols);
    }
}

xcb_keycode_t X11Keys::keycode(Qt::Key key) const
{
    const xcb_keysym_t keysym = keysymFor(key);
    return keysym == XCB_NO_SYMBOL ? 0 : keycodeForKeysym(keysym);
}

xcb_keycode_t X11Keys::keycodeForKeysym(xcb_keysym_t keysym) const
{
    if (!m_symbols) {
        return 0;
    }
    const XcbReply<xcb_keycode_t> codes(xcb_key_symbols_get_keycode(m_symbols, keysym));
    return codes ? codes.get()[0] : 0;
}

uint16_t X11Keys::modifierMask(Qt::KeyboardModifiers modifiers)
{
    uint16_t mask = 0;
    if (modifiers & Qt::ShiftModifier) {
        mask |= XCB_MOD_MASK_SHIFT;
    }
    if (modifiers & Qt::ControlModifier) {
        mask |= XCB_MOD_MASK_CONTROL;
    }
    if (modifiers & Qt::AltModifier) {
        mask |= XCB_MOD_MASK_1;
    }
    if (modifiers & Qt::MetaModifier) {
        mask |= XCB_MOD_MASK_4;
    }
    return mask;
}

QList<xcb_keycode_t> X11Keys::modifierKeycodes(Qt::KeyboardModifiers modifiers) const
{
    QList<xcb_keycode_t> codes;
    const std::pair<Qt::KeyboardModifier, xcb_keysym_t> keys[] = {
        {Qt::ControlModifier, XK_Control_L},
        {Qt::ShiftModifier, XK_Shift_L},
        {Qt::AltModifier, XK_Alt_L},
        {Qt::MetaModifier, XK_Super_L},
    };
    for (const auto& [modifier, keysym] : keys) {
        if (modifiers & modifier) {
            if (const xcb_keycode_t code = keycodeForKeysym(keysym)) {
                codes.append(code);
            }
        }
    }
    return codes;
}

uint16_t X11Keys::findNumLockMask() const
{
    if (!m_connection) {
        return 0;
    }
    const xcb_keycode_t numLock = keycodeForKeysym(XK_Num_Lock);
    const XcbReply<xcb_get_modifier_mapping_reply_t> mapping(
        xcb_get_modifier_mapping_reply(m_connection, xcb_get_modifier_mapping(m_connection), nullptr));
    if (!mapping || numLock == 0) {
        return 0;
    }
    const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(mapping.get());
    const int perModifier = mapping->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int i = 0; i < perModifier; ++i) {
            if (codes[modifier * perModifier + i] == numLock) {
                return uint16_t(1 << modifier);
            }
        }
    }
    return 0;
}
