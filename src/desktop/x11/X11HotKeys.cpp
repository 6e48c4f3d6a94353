#include "desktop/x11/X11HotKeys.h"

#include "desktop/HotKey.h"
#include "desktop/x11/X11Connection.h"
#include "desktop/x11/X11Keys.h"
#include "desktop/x11/XcbReply.h"

#include <cstdlib>

// xkb.h names a field `explicit`.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

X11HotKeys::X11HotKeys(X11Connection& connection, X11Keys& keys) : m_connection(connection), m_keys(keys)
{
    if (!m_connection.isOpen()) {
        return;
    }
    xcb_connection_t* c = m_connection.get();
    std::free(xcb_xkb_use_extension_reply(
        c, xcb_xkb_use_extension(c, XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION), nullptr));
    // With detectable auto-repeat a held key repeats its press but is released once; the "down" flag
    // of each grab folds the repeated presses.
    const uint32_t detectable = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    std::free(xcb_xkb_per_client_flags_reply(
        c, xcb_xkb_per_client_flags(c, XCB_XKB_ID_USE_CORE_KBD, detectable, detectable, 0, 0, 0), nullptr));
    // A client of the keyboard extension hears of new layouts and maps through its events.
    if (const xcb_query_extension_reply_t* xkb = xcb_get_extension_data(c, &xcb_xkb_id);
        xkb && xkb->present) {
        m_xkbFirstEvent = xkb->first_event;
        const uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
        const uint16_t parts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
        xcb_xkb_select_events(c, XCB_XKB_ID_USE_CORE_KBD, events, 0, events, parts, parts, nullptr);
        xcb_flush(c);
    }
}

QList<uint16_t> X11HotKeys::lockVariants(uint16_t numLockMask)
{
    QList<uint16_t> variants{0, XCB_MOD_MASK_LOCK};
    if (numLockMask) {
        variants << numLockMask << uint16_t(numLockMask | XCB_MOD_MASK_LOCK);
    }
    return variants;
}

bool X11HotKeys::grab(xcb_keycode_t keycode, uint16_t modifiers)
{
    QList<xcb_void_cookie_t> cookies;
    for (const uint16_t variant : lockVariants(m_keys.numLockMask())) {
        cookies << xcb_grab_key_checked(m_connection.get(), 0, m_connection.root(), modifiers | variant,
                                        keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    }
    // Another client holding any variant answers BadAccess; then none of ours may stay behind.
    bool refused = false;
    for (const xcb_void_cookie_t cookie : cookies) {
        if (const XcbReply<xcb_generic_error_t> error{xcb_request_check(m_connection.get(), cookie)}) {
            refused = true;
        }
    }
    if (refused) {
        ungrab({{}, {}, keycode, modifiers, m_keys.numLockMask(), false});
    }
    return !refused;
}

bool X11HotKeys::registerHotKey(HotKeyId id, const KeyChord& chord)
{
    const xcb_keycode_t keycode = m_keys.keycode(chord.key);
    if (!m_connection.isOpen() || keycode == 0) {
        return false;
    }
    const uint16_t modifiers = X11Keys::modifierMask(chord.modifiers);
    if (!grab(keycode, modifiers)) {
        return false;
    }
    m_grabs.append({id, chord, keycode, modifiers, m_keys.numLockMask(), false});
    return true;
}

void X11HotKeys::unregisterHotKey(HotKeyId id)
{
    for (qsizetype i = 0; i < m_grabs.size(); ++i) {
        if (m_grabs[i].id.id == id.id) {
            ungrab(m_grabs[i]);
            m_grabs.removeAt(i);
            return;
        }
    }
}

void X11HotKeys::ungrab(const Grab& grab)
{
    // The server releases only our own grabs, so variants another client holds stay untouched.
    for (const uint16_t variant : lockVariants(grab.numLockMask)) {
        xcb_ungrab_key(m_connection.get(), grab.keycode, m_connection.root(), grab.modifiers | variant);
    }
    xcb_flush(m_connection.get());
}

bool X11HotKeys::isMappingChange(const xcb_generic_event_t& event) const
{
    const uint8_t type = event.response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) {
        return reinterpret_cast<const xcb_mapping_notify_event_t&>(event).request != XCB_MAPPING_POINTER;
    }
    if (m_xkbFirstEvent == 0 || type != m_xkbFirstEvent) {
        return false;
    }
    // Every keyboard-extension event shares one type; the second byte says which it is.
    const uint8_t xkbType = reinterpret_cast<const uint8_t*>(&event)[1];
    return xkbType == XCB_XKB_NEW_KEYBOARD_NOTIFY || xkbType == XCB_XKB_MAP_NOTIFY;
}

void X11HotKeys::renewGrabs()
{
    m_keys.reload();
    QList<Grab> renewed;
    for (const Grab& old : std::as_const(m_grabs)) {
        ungrab(old);
        const xcb_keycode_t keycode = m_keys.keycode(old.chord.key);
        // A key gone from the new map, or taken by another client meanwhile, stays unregistered.
        if (keycode != 0 && grab(keycode, old.modifiers)) {
            renewed.append({old.id, old.chord, keycode, old.modifiers, m_keys.numLockMask(), false});
        }
    }
    m_grabs = renewed;
}

void X11HotKeys::handleEvent(const xcb_generic_event_t& event)
{
    if (isMappingChange(event)) {
        renewGrabs();
        return;
    }
    const uint8_t type = event.response_type & 0x7f;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) {
        return;
    }
    const auto& key = reinterpret_cast<const xcb_key_press_event_t&>(event);
    const uint16_t lockBits = XCB_MOD_MASK_LOCK | m_keys.numLockMask();
    const uint16_t modifiers = key.state & 0xff & ~lockBits;
    for (Grab& grab : m_grabs) {
        if (grab.keycode != key.detail) {
            continue;
        }
        if (type == XCB_KEY_PRESS && grab.modifiers == modifiers && !grab.down) {
            grab.down = true;
            HotKey::deliver(grab.id, true);
            return;
        }
        // The modifiers may already be up when the key itself is released: match the grab that is down.
        if (type == XCB_KEY_RELEASE && grab.down) {
            grab.down = false;
            HotKey::deliver(grab.id, false);
            return;
        }
    }
}
