#pragma once

#include <QWindow>

// What a floating window such as the panel needs from the window manager beyond Qt's window flags.
class FloatingWindowPlatform
{
public:
    virtual ~FloatingWindowPlatform() = default;

    // On every workspace, out of the taskbar and the pager. Called on the unmapped window before every
    // show, because the window manager reads these hints when the window is mapped.
    virtual void keepOnEveryWorkspace(WId window) = 0;
    // Asks the window manager to give the window the keyboard on behalf of the user, who asked for it
    // with a shortcut while another application was in front.
    virtual void activate(WId window) = 0;
    // Whether a compositor draws translucent windows; without one their transparent parts show black.
    virtual bool hasCompositor() = 0;
};
