#include "app/AgentPanel.h"

#include "views/PanelView.h"

#include <QCursor>
#include <QGuiApplication>
#include <QPainterPath>
#include <QRegion>
#include <QScreen>
#include <QVBoxLayout>
#include <xcb/xcb.h>

namespace {

// The window manager hints Qt has no words for, on X11 only.
class X11Hints
{
public:
    X11Hints()
    {
        if (const auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>())
            m_connection = x11->connection();
    }

    bool available() const { return m_connection != nullptr; }

    // On every workspace, out of the taskbar and the pager. Qt merges its own states into these when
    // it maps the window, so they are set on the unmapped window before every show.
    void prepare(WId window)
    {
        const xcb_window_t id = xcb_window_t(window);
        const quint32 allDesktops = 0xFFFFFFFF;
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, id, atom("_NET_WM_DESKTOP"),
                            XCB_ATOM_CARDINAL, 32, 1, &allDesktops);
        const xcb_atom_t states[] = {atom("_NET_WM_STATE_STICKY"), atom("_NET_WM_STATE_SKIP_TASKBAR"),
                                     atom("_NET_WM_STATE_SKIP_PAGER")};
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, id, atom("_NET_WM_STATE"), XCB_ATOM_ATOM, 32,
                            3, states);
        xcb_flush(m_connection);
    }

    // Asks the window manager to activate the window as a pager would, which focus-stealing
    // prevention lets through: the user asked for the panel with the shortcut.
    void activate(WId window)
    {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = xcb_window_t(window);
        message.type = atom("_NET_ACTIVE_WINDOW");
        message.data.data32[0] = 2;
        message.data.data32[1] = XCB_CURRENT_TIME;
        xcb_send_event(m_connection, 0, root(),
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&message));
        xcb_flush(m_connection);
    }

    // A compositing manager owns the _NET_WM_CM_S<screen> selection.
    bool composited()
    {
        const auto cookie = xcb_get_selection_owner(m_connection, atom("_NET_WM_CM_S0"));
        xcb_get_selection_owner_reply_t* reply = xcb_get_selection_owner_reply(m_connection, cookie, nullptr);
        const bool owned = reply && reply->owner != XCB_NONE;
        free(reply);
        return owned;
    }

private:
    xcb_atom_t atom(const char* name)
    {
        const auto cookie = xcb_intern_atom(m_connection, 0, quint16(qstrlen(name)), name);
        xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(m_connection, cookie, nullptr);
        const xcb_atom_t result = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
        free(reply);
        return result;
    }

    xcb_window_t root() const { return xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root; }

    xcb_connection_t* m_connection = nullptr;
};

X11Hints& x11()
{
    static X11Hints hints;
    return hints;
}

} // namespace

AgentPanel::AgentPanel(Session& session, QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setWindowTitle(QStringLiteral("Tavrin"));
    setAccessibleName(QStringLiteral("Tavrin"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    // The window follows the view's preferred size, like a hosting view.
    layout->setSizeConstraint(QLayout::SetFixedSize);
    m_view = new PanelView(session, this);
    layout->addWidget(m_view);
    resize(initialWidth, initialHeight);
    // The native window exists from the start, so that the first show costs no more than later ones.
    winId();
}

void AgentPanel::showPanel(bool makeKey)
{
    QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (screen) {
        const QRect visible = screen->availableGeometry();
        m_anchorTop = visible.top() + qRound(topFraction * visible.height());
        const int left = visible.left() + visible.width() / 2 - initialWidth / 2;
        setGeometry(QRect(QPoint(left, *m_anchorTop), size()));
    }
    setAttribute(Qt::WA_ShowWithoutActivating, !makeKey);
    if (x11().available()) {
        m_composited = x11().composited();
        updateCornerMask();
        if (!isVisible())
            x11().prepare(winId());
    }
    show();
    raise();
    if (!makeKey)
        return;
    activateWindow();
    if (x11().available())
        x11().activate(winId());
}

void AgentPanel::keepTopEdge()
{
    if (m_anchorTop && y() != *m_anchorTop)
        move(x(), *m_anchorTop);
}

void AgentPanel::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    keepTopEdge();
    updateCornerMask();
}

void AgentPanel::moveEvent(QMoveEvent* event)
{
    QWidget::moveEvent(event);
    keepTopEdge();
}

void AgentPanel::updateCornerMask()
{
    // Without a compositor the transparent corners would be drawn black: cut them off instead.
    if (m_composited || !x11().available()) {
        clearMask();
        return;
    }
    QPainterPath card;
    card.addRoundedRect(QRectF(rect()), cornerRadius, cornerRadius);
    setMask(QRegion(card.toFillPolygon().toPolygon()));
}
