#include "desktop/x11/X11Connection.h"

#include "desktop/x11/XcbReply.h"

#include <QAbstractEventDispatcher>
#include <QSocketNotifier>
#include <cstdlib>
#include <cstring>
#include <memory>

X11Connection::X11Connection()
{
    int screenNumber = 0;
    xcb_connection_t* connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return;
    }
    m_connection = connection;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i) {
        xcb_screen_next(&screens);
    }
    m_root = screens.data->root;
    m_notifier = new QSocketNotifier(xcb_get_file_descriptor(m_connection), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &X11Connection::readEvents);
    // A reply read by a request can bring events into xcb's queue without waking the socket notifier.
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this,
            &X11Connection::readEvents);
}

X11Connection::~X11Connection()
{
    if (m_connection) {
        xcb_disconnect(m_connection);
    }
}

xcb_atom_t X11Connection::atom(const char* name)
{
    const QByteArray key(name);
    if (const auto found = m_atoms.constFind(key); found != m_atoms.cend()) {
        return *found;
    }
    const xcb_intern_atom_cookie_t cookie = xcb_intern_atom(m_connection, 0, uint16_t(key.size()), name);
    const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookie, nullptr));
    const xcb_atom_t atom = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    m_atoms.insert(key, atom);
    return atom;
}

QByteArray X11Connection::property(xcb_window_t window, xcb_atom_t property, xcb_atom_t type)
{
    const xcb_get_property_cookie_t cookie =
        xcb_get_property(m_connection, 0, window, property, type, 0, 4096);
    const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection, cookie, nullptr));
    if (!reply || reply->type == XCB_ATOM_NONE) {
        return {};
    }
    const auto* value = static_cast<const char*>(xcb_get_property_value(reply.get()));
    return QByteArray(value, xcb_get_property_value_length(reply.get()));
}

quint32 X11Connection::cardinalProperty(xcb_window_t window, xcb_atom_t property, xcb_atom_t type)
{
    const QByteArray value = this->property(window, property, type);
    if (value.size() < qsizetype(sizeof(quint32))) {
        return 0;
    }
    quint32 number = 0;
    std::memcpy(&number, value.constData(), sizeof number);
    return number;
}

void X11Connection::readEvents()
{
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection)) {
        const XcbReply<xcb_generic_event_t> owned(event);
        if (m_handler) {
            m_handler(*event);
        }
    }
}

void X11Connection::requestActivation(xcb_window_t window)
{
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom("_NET_ACTIVE_WINDOW");
    message.data.data32[0] = 2;
    message.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(m_connection, 0, m_root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(m_connection);
}
