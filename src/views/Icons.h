#pragma once

#include <QColor>
#include <QIcon>
#include <QRectF>

class QPainter;

// The few symbols the windows show, drawn by our own code in any colour, so that nothing depends on
// the desktop's icon theme.
namespace Icons {

enum class Symbol { DocOnClipboard, XMark, CheckmarkCircleFill, ExclamationmarkCircle };

// Draws the symbol fitted into the square centred in `box`.
void paint(QPainter& painter, Symbol symbol, const QRectF& box, const QColor& colour);
// The symbol as an icon of the given logical size, at the device pixel ratio given.
QIcon icon(Symbol symbol, int size, const QColor& colour, qreal devicePixelRatio = 2.0);

} // namespace Icons
