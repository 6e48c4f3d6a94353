#pragma once

#include "app/PanelPresenter.h"

#include <QWidget>
#include <optional>

class FloatingWindowPlatform;
class PanelView;
class Session;

// The floating window around the panel view: created once and kept, frameless, above other windows,
// on every workspace and left out of the taskbar. It opens near the top of the screen under the
// pointer and grows downwards as the answer grows, its top edge staying where it opened.
class AgentPanel : public QWidget, public PanelPresenter
{
    Q_OBJECT
public:
    static constexpr qreal topFraction = 0.18;
    static constexpr int initialWidth = 420;
    static constexpr int initialHeight = 160;
    static constexpr int cornerRadius = 14;

    AgentPanel(Session& session, FloatingWindowPlatform& windowManager, QWidget* parent = nullptr);

    // Places the panel on the screen under the pointer and brings it to the front; with makeKey it
    // also takes the keyboard, otherwise the application in front keeps it.
    void showPanel(bool makeKey) override;
    // Where the last showPanel put the top edge, in global coordinates.
    std::optional<int> anchorTop() const { return m_anchorTop; }
    PanelView& view() { return *m_view; }

protected:
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;

private:
    void keepTopEdge();
    void updateCornerMask();

    FloatingWindowPlatform& m_windowManager;
    PanelView* m_view;
    std::optional<int> m_anchorTop;
    bool m_composited = false;
};
