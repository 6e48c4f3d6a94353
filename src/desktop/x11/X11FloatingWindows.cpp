#include "desktop/x11/X11FloatingWindows.h"

#include "desktop/x11/XcbReply.h"

void X11FloatingWindows::keepOnEveryWorkspace(WId window)
{
    if (!m_connection.isOpen())
        return;
    xcb_connection_t* connection = m_connection.get();
    const auto id = xcb_window_t(window);
    const quint32 allDesktops = 0xFFFFFFFF;
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, m_connection.atom("_NET_WM_DESKTOP"),
                        XCB_ATOM_CARDINAL, 32, 1, &allDesktops);
    // Qt merges its own states into these when it maps the window.
    const xcb_atom_t states[] = {m_connection.atom("_NET_WM_STATE_STICKY"),
                                 m_connection.atom("_NET_WM_STATE_SKIP_TASKBAR"),
                                 m_connection.atom("_NET_WM_STATE_SKIP_PAGER")};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, m_connection.atom("_NET_WM_STATE"),
                        XCB_ATOM_ATOM, 32, 3, states);
    sync();
}

void X11FloatingWindows::activate(WId window)
{
    if (!m_connection.isOpen())
        return;
    m_connection.requestActivation(xcb_window_t(window));
}

bool X11FloatingWindows::hasCompositor()
{
    if (!m_connection.isOpen())
        return false;
    // A compositing manager owns the _NET_WM_CM_S<screen> selection.
    xcb_connection_t* connection = m_connection.get();
    const auto cookie = xcb_get_selection_owner(connection, m_connection.atom("_NET_WM_CM_S0"));
    const XcbReply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection, cookie, nullptr));
    return reply && reply->owner != XCB_NONE;
}

void X11FloatingWindows::sync()
{
    xcb_connection_t* connection = m_connection.get();
    const XcbReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}
