#include "views/Icons.h"

#include <QPainter>
#include <QPainterPath>
#include <QPainterPathStroker>
#include <QPixmap>

namespace Icons {

namespace {

// Every symbol is drawn on a 16 by 16 grid.
constexpr qreal grid = 16.0;

QPen strokePen(const QColor& colour, qreal width)
{
    QPen pen(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    return pen;
}

void paintClipboard(QPainter& painter, const QColor& colour)
{
    painter.setPen(strokePen(colour, 1.3));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(QRectF(2.9, 2.6, 10.2, 12.0), 1.8, 1.8);
    painter.setBrush(colour);
    painter.drawRoundedRect(QRectF(5.6, 1.2, 4.8, 2.6), 1.0, 1.0);
    painter.drawLine(QPointF(5.5, 7.3), QPointF(10.5, 7.3));
    painter.drawLine(QPointF(5.5, 9.8), QPointF(10.5, 9.8));
    painter.drawLine(QPointF(5.5, 12.3), QPointF(8.5, 12.3));
}

void paintXMark(QPainter& painter, const QColor& colour)
{
    painter.setPen(strokePen(colour, 1.7));
    painter.drawLine(QPointF(3.8, 3.8), QPointF(12.2, 12.2));
    painter.drawLine(QPointF(12.2, 3.8), QPointF(3.8, 12.2));
}

void paintCheckmarkCircle(QPainter& painter, const QColor& colour)
{
    QPainterPath disc;
    disc.addEllipse(QPointF(8, 8), 7.2, 7.2);
    QPainterPath tick;
    tick.moveTo(4.7, 8.3);
    tick.lineTo(7.0, 10.6);
    tick.lineTo(11.4, 5.8);
    QPainterPathStroker stroker;
    stroker.setWidth(1.7);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    // The tick is cut out of the disc, so it shows whatever lies beneath.
    painter.drawPath(disc.subtracted(stroker.createStroke(tick)));
}

void paintExclamationCircle(QPainter& painter, const QColor& colour)
{
    painter.setPen(strokePen(colour, 1.3));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(QPointF(8, 8), 6.6, 6.6);
    painter.setPen(strokePen(colour, 1.6));
    painter.drawLine(QPointF(8, 4.6), QPointF(8, 8.9));
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    painter.drawEllipse(QPointF(8, 11.4), 0.95, 0.95);
}

} // namespace

void paint(QPainter& painter, Symbol symbol, const QRectF& box, const QColor& colour)
{
    const qreal side = qMin(box.width(), box.height());
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(box.center() - QPointF(side / 2, side / 2));
    painter.scale(side / grid, side / grid);
    switch (symbol) {
    case Symbol::DocOnClipboard:
        paintClipboard(painter, colour);
        break;
    case Symbol::XMark:
        paintXMark(painter, colour);
        break;
    case Symbol::CheckmarkCircleFill:
        paintCheckmarkCircle(painter, colour);
        break;
    case Symbol::ExclamationmarkCircle:
        paintExclamationCircle(painter, colour);
        break;
    }
    painter.restore();
}

QIcon icon(Symbol symbol, int size, const QColor& colour, qreal devicePixelRatio)
{
    QPixmap pixmap(QSize(size, size) * devicePixelRatio);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    paint(painter, symbol, QRectF(0, 0, size, size), colour);
    painter.end();
    return QIcon(pixmap);
}

} // namespace Icons
