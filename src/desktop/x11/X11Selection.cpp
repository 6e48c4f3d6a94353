#include "desktop/x11/X11Selection.h"

#include "desktop/x11/XcbReply.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <poll.h>
#include <xcb/xcb.h>

namespace X11Selection {

namespace {

struct Disconnect
{
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

xcb_atom_t atom(xcb_connection_t* c, const char* name)
{
    const XcbReply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, quint16(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

// The owner's answer to our request, or nothing by the deadline.
XcbReply<xcb_selection_notify_event_t> waitForNotify(xcb_connection_t* c, QDeadlineTimer deadline)
{
    while (!deadline.hasExpired()) {
        while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
            if ((event->response_type & 0x7f) == XCB_SELECTION_NOTIFY)
                return XcbReply<xcb_selection_notify_event_t>(
                    reinterpret_cast<xcb_selection_notify_event_t*>(event));
            std::free(event);
        }
        if (xcb_connection_has_error(c))
            return nullptr;
        pollfd descriptor{xcb_get_file_descriptor(c), POLLIN, 0};
        ::poll(&descriptor, 1, int(qMax<qint64>(1, deadline.remainingTime())));
    }
    return nullptr;
}

// `selection` is the atom's name, or null for PRIMARY, which needs no round trip.
std::optional<QString> read(const char* selection, QDeadlineTimer deadline)
{
    int screenNumber = 0;
    const std::unique_ptr<xcb_connection_t, Disconnect> connection(xcb_connect(nullptr, &screenNumber));
    xcb_connection_t* c = connection.get();
    if (xcb_connection_has_error(c))
        return std::nullopt;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    if (screens.rem == 0)
        return std::nullopt;

    const xcb_window_t window = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screens.data->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    const xcb_atom_t property = atom(c, "TAVRIN_SELECTION");
    const xcb_atom_t source = selection ? atom(c, selection) : xcb_atom_t(XCB_ATOM_PRIMARY);
    // Most owners offer the first; some simple ones only the MIME names, and some answer any request
    // with the one type they have.
    const std::array<xcb_atom_t, 3> textTypes = {atom(c, "UTF8_STRING"), atom(c, "text/plain;charset=utf-8"),
                                                 atom(c, "text/plain")};
    for (const xcb_atom_t target : textTypes) {
        xcb_convert_selection(c, window, source, target, property, XCB_CURRENT_TIME);
        xcb_flush(c);
        const XcbReply<xcb_selection_notify_event_t> notify = waitForNotify(c, deadline);
        if (!notify)
            return std::nullopt;
        if (notify->property == XCB_ATOM_NONE)
            continue;
        const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            c, xcb_get_property(c, 1, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, maxBytes / 4),
            nullptr));
        // Another type (an incremental transfer, for one) or more than we asked for: leave it out.
        if (!reply || std::find(textTypes.begin(), textTypes.end(), reply->type) == textTypes.end() ||
            reply->format != 8 || reply->bytes_after > 0)
            return std::nullopt;
        return QString::fromUtf8(static_cast<const char*>(xcb_get_property_value(reply.get())),
                                 xcb_get_property_value_length(reply.get()));
    }
    return std::nullopt;
}

} // namespace

std::optional<QString> readPrimary(QDeadlineTimer deadline)
{
    return read(nullptr, deadline);
}

std::optional<QString> readClipboard(QDeadlineTimer deadline)
{
    return read("CLIPBOARD", deadline);
}

} // namespace X11Selection
