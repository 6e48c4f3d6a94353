#pragma once

#include <QPainterPath>
#include <QWidget>

// The product mark: an open round outline with an arrow leaving its centre, stroked in the
// foreground colour at any size.
class MorvikMark : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(qreal markSize READ markSize CONSTANT)
public:
    explicit MorvikMark(qreal size, QWidget* parent = nullptr);

    qreal markSize() const { return m_size; }

    // The mark's path inside a square of the given side whose top-left corner is the origin.
    static QPainterPath path(qreal size);
    // The width of the stroke at that size.
    static qreal lineWidth(qreal size);
    // Strokes the mark into the square of side `size` at `topLeft`.
    static void paint(QPainter& painter, const QPointF& topLeft, qreal size, const QColor& colour);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    qreal m_size;
};
