#include "app/AgentPanel.h"

#include "desktop/FloatingWindowPlatform.h"
#include "views/PanelView.h"

#include <QApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QPainterPath>
#include <QRegion>
#include <QScreen>
#include <QVBoxLayout>

AgentPanel::AgentPanel(Session& session, FloatingWindowPlatform& windowManager, QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      m_windowManager(windowManager)
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
    m_composited = m_windowManager.hasCompositor();
    updateCornerMask();
    if (!isVisible())
        m_windowManager.keepOnEveryWorkspace(winId());
    show();
    raise();
    if (!makeKey)
        return;
    activateWindow();
    m_windowManager.activate(winId());
    // After a shortcut closed the panel, Qt can keep the hidden window as its focus window while the
    // widgets have no active window; the focus coming back is then no change to Qt, and the panel
    // would never become the active window. Bring the widgets in line with Qt's focus window.
    if (QGuiApplication::focusWindow() == windowHandle() && QApplication::activeWindow() != this)
        QApplication::setActiveWindow(this);
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
    if (m_composited) {
        clearMask();
        return;
    }
    QPainterPath card;
    card.addRoundedRect(QRectF(rect()), cornerRadius, cornerRadius);
    setMask(QRegion(card.toFillPolygon().toPolygon()));
}
