#include "desktop/x11/X11Keystrokes.h"

#include "desktop/x11/X11Connection.h"
#include "desktop/x11/X11Keys.h"
#include "desktop/x11/XcbReply.h"

#include <QList>
#include <cstdlib>
#include <memory>
#include <xcb/xtest.h>

X11Keystrokes::X11Keystrokes(X11Connection& connection, const X11Keys& keys)
    : m_connection(connection), m_keys(keys)
{}

void X11Keystrokes::sendKey(const KeyChord& chord)
{
    const xcb_keycode_t key = m_keys.keycode(chord.key);
    if (!m_connection.isOpen() || key == 0) {
        return;
    }
    xcb_connection_t* c = m_connection.get();
    const QList<xcb_keycode_t> modifiers = m_keys.modifierKeycodes(chord.modifiers);
    const auto fake = [c](uint8_t type, xcb_keycode_t code) {
        xcb_test_fake_input(c, type, code, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    };
    for (const xcb_keycode_t modifier : modifiers) {
        fake(XCB_KEY_PRESS, modifier);
    }
    fake(XCB_KEY_PRESS, key);
    fake(XCB_KEY_RELEASE, key);
    for (auto it = modifiers.crbegin(); it != modifiers.crend(); ++it) {
        fake(XCB_KEY_RELEASE, *it);
    }
    xcb_flush(c);
}

bool X11Keystrokes::keysHeld()
{
    if (!m_connection.isOpen()) {
        return false;
    }
    xcb_connection_t* c = m_connection.get();
    const XcbReply<xcb_query_keymap_reply_t> keymap(xcb_query_keymap_reply(c, xcb_query_keymap(c), nullptr));
    if (!keymap) {
        return false;
    }
    for (const uint8_t byte : keymap->keys) {
        if (byte != 0) {
            return true;
        }
    }
    return false;
}

bool X11Keystrokes::isActive(const RunningApp& app)
{
    return m_connection.isOpen() &&
           m_connection.cardinalProperty(m_connection.root(), m_connection.atom("_NET_ACTIVE_WINDOW"),
                                         XCB_ATOM_WINDOW) == app.window;
}

void X11Keystrokes::activate(const RunningApp& app)
{
    if (!m_connection.isOpen() || app.window == 0) {
        return;
    }
    m_connection.requestActivation(xcb_window_t(app.window));
}
