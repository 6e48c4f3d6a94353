#pragma once

#include <cstdint>
#include <cstdlib>
#include <xcb/xcb.h>

// The first key code that types the keysym, from the server's keyboard mapping.
inline uint8_t keycodeOf(xcb_connection_t* connection, xcb_keysym_t keysym)
{
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const uint8_t first = setup->min_keycode;
    const uint8_t count = uint8_t(setup->max_keycode - first + 1);
    xcb_get_keyboard_mapping_reply_t* mapping = xcb_get_keyboard_mapping_reply(
        connection, xcb_get_keyboard_mapping(connection, first, count), nullptr);
    uint8_t found = 0;
    if (mapping) {
        const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(mapping);
        for (int code = 0; code < count && !found; ++code) {
            if (symbols[code * mapping->keysyms_per_keycode] == keysym)
                found = uint8_t(first + code);
        }
    }
    free(mapping);
    return found;
}
