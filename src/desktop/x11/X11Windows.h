#pragma once

#include "desktop/RunningApp.h"

#include <optional>
#include <xcb/xcb.h>

class X11Connection;

// What the window manager and the server know about other clients' windows.
class X11Windows
{
public:
    explicit X11Windows(X11Connection& connection);

    std::optional<RunningApp> frontmost();
    // The process owning the PRIMARY selection, or 0 when nobody or an unknown client owns it.
    qint64 primarySelectionProcess();

private:
    RunningApp describe(xcb_window_t window);
    qint64 processOf(xcb_window_t window);

    X11Connection& m_connection;
};
