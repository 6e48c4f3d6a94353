#pragma once

#include "desktop/FloatingWindowPlatform.h"
#include "desktop/x11/X11Connection.h"

// Extended window manager hints for the panel, sent over our own connection to the X server.
class X11FloatingWindows : public FloatingWindowPlatform
{
public:
    void keepOnEveryWorkspace(WId window) override;
    void activate(WId window) override;
    bool hasCompositor() override;

private:
    // Waits until the server has handled every request sent so far, so that hints set here are in
    // place before Qt, on its own connection, maps the window.
    void sync();

    X11Connection m_connection;
};
