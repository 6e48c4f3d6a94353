#pragma once

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <functional>
#include <xcb/xcb.h>

class QSocketNotifier;

// Our own connection to the X server, apart from Qt's, so that grabs and per-client keyboard flags
// concern only us. Events are read on the main thread.
class X11Connection : public QObject
{
    Q_OBJECT

public:
    using EventHandler = std::function<void(const xcb_generic_event_t&)>;

    X11Connection();
    ~X11Connection() override;
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    bool isOpen() const { return m_connection != nullptr; }
    xcb_connection_t* get() const { return m_connection; }
    xcb_window_t root() const { return m_root; }
    xcb_atom_t atom(const char* name);
    // Asks the window manager to activate the window as a pager would (source 2), which window
    // managers obey without their focus-stealing prevention.
    void requestActivation(xcb_window_t window);
    void setEventHandler(EventHandler handler) { m_handler = std::move(handler); }

    QByteArray property(xcb_window_t window, xcb_atom_t property, xcb_atom_t type);
    quint32 cardinalProperty(xcb_window_t window, xcb_atom_t property, xcb_atom_t type);

private:
    void readEvents();

    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = XCB_NONE;
    QHash<QByteArray, xcb_atom_t> m_atoms;
    QSocketNotifier* m_notifier = nullptr;
    EventHandler m_handler;
};
