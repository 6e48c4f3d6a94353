#include "desktop/x11/X11Windows.h"

#include "desktop/x11/X11Connection.h"
#include "desktop/x11/XcbReply.h"

#include <QList>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <xcb/res.h>

X11Windows::X11Windows(X11Connection& connection) : m_connection(connection) {}

std::optional<RunningApp> X11Windows::frontmost()
{
    if (!m_connection.isOpen()) {
        return std::nullopt;
    }
    // The window manager's idea of the active window; the input focus is often a hidden child.
    const xcb_window_t window = m_connection.cardinalProperty(
        m_connection.root(), m_connection.atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW);
    if (window == XCB_NONE) {
        return std::nullopt;
    }
    return describe(window);
}

RunningApp X11Windows::describe(xcb_window_t window)
{
    RunningApp app;
    app.window = window;
    app.processId =
        m_connection.cardinalProperty(window, m_connection.atom("_NET_WM_PID"), XCB_ATOM_CARDINAL);
    if (app.processId == 0) {
        app.processId = processOf(window);
    }
    // WM_CLASS holds the instance name and then the class name, each ending in a zero byte.
    const QList<QByteArray> classParts =
        m_connection.property(window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING).split('\0');
    if (classParts.size() >= 2) {
        app.windowClass = QString::fromLocal8Bit(classParts[1]);
    }
    QString title = QString::fromUtf8(
        m_connection.property(window, m_connection.atom("_NET_WM_NAME"), m_connection.atom("UTF8_STRING")));
    if (title.isEmpty()) {
        title = QString::fromLocal8Bit(m_connection.property(window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING));
    }
    // The class names the application ("Mousepad"); the title names a document and is only a fallback.
    app.name = app.windowClass.isEmpty() ? title : app.windowClass;
    return app;
}

qint64 X11Windows::primarySelectionProcess()
{
    if (!m_connection.isOpen()) {
        return 0;
    }
    xcb_connection_t* c = m_connection.get();
    const XcbReply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, XCB_ATOM_PRIMARY), nullptr));
    if (!owner || owner->owner == XCB_NONE) {
        return 0;
    }
    return processOf(owner->owner);
}

qint64 X11Windows::processOf(xcb_window_t window)
{
    // The X-Resource extension knows the process of any client, also for windows without _NET_WM_PID
    // such as the hidden windows that own selections.
    xcb_connection_t* c = m_connection.get();
    const xcb_res_client_id_spec_t wanted{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    const XcbReply<xcb_res_query_client_ids_reply_t> reply(
        xcb_res_query_client_ids_reply(c, xcb_res_query_client_ids(c, 1, &wanted), nullptr));
    if (!reply) {
        return 0;
    }
    for (auto ids = xcb_res_query_client_ids_ids_iterator(reply.get()); ids.rem > 0;
         xcb_res_client_id_value_next(&ids)) {
        const auto& [client, wireLength] = *ids.data;
        if ((client.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) &&
            xcb_res_client_id_value_value_length(ids.data) >= 1) {
            uint32_t pid = 0;
            std::memcpy(&pid, xcb_res_client_id_value_value(ids.data), sizeof pid);
            return pid;
        }
    }
    return 0;
}
