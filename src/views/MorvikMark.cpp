#include "views/MorvikMark.h"

#include "views/Theme.h"

#include <QPainter>
#include <cmath>

namespace {

// The mark is drawn on a 32 by 32 grid.
constexpr qreal grid = 32.0;

} // namespace

MorvikMark::MorvikMark(qreal size, QWidget* parent) : QWidget(parent), m_size(size)
{
    setFixedSize(sizeHint());
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

QPainterPath MorvikMark::path(qreal size)
{
    const qreal s = size / grid;
    const auto p = [s](qreal x, qreal y) { return QPointF(x * s, y * s); };
    QPainterPath path;
    path.moveTo(p(23.6, 14.4));
    path.cubicTo(p(23.6, 8.8), p(19.8, 5.0), p(14.2, 5.0));
    path.cubicTo(p(8.6, 5.0), p(4.8, 8.8), p(4.8, 14.4));
    path.cubicTo(p(4.8, 20.0), p(8.6, 23.8), p(14.2, 23.8));
    path.lineTo(p(18.3, 23.8));
    path.moveTo(p(17.7, 17.7));
    path.lineTo(p(26.8, 26.8));
    path.moveTo(p(21.6, 26.8));
    path.lineTo(p(26.8, 26.8));
    path.lineTo(p(26.8, 21.6));
    return path;
}

qreal MorvikMark::lineWidth(qreal size)
{
    return 2.35 * size / grid;
}

void MorvikMark::paint(QPainter& painter, const QPointF& topLeft, qreal size, const QColor& colour)
{
    QPen pen(colour, lineWidth(size), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    pen.setMiterLimit(10);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    painter.translate(topLeft);
    painter.drawPath(path(size));
    painter.restore();
}

QSize MorvikMark::sizeHint() const
{
    const int side = int(std::ceil(m_size));
    return {side, side};
}

void MorvikMark::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QPointF centred((width() - m_size) / 2, (height() - m_size) / 2);
    paint(painter, centred, m_size, Theme::foreground());
}
