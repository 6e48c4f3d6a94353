#include "views/ButtonStyles.h"

#include "views/Theme.h"

#include <QEnterEvent>
#include <QPainter>
#include <QPainterPath>

namespace {

QFont buttonFont()
{
    QFont font;
    font.setPixelSize(13);
    font.setWeight(QFont::Medium);
    return font;
}

constexpr qreal primaryPressedOpacity = 0.85;

} // namespace

StyledButton::StyledButton(const QString& text, int horizontalPadding, QWidget* parent)
    : QPushButton(text, parent), m_padding(horizontalPadding)
{
    setFont(buttonFont());
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    m_press.setDuration(Theme::springDurationMs);
    m_press.setEasingCurve(Theme::spring());
    connect(&m_press, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        m_pressedAmount = value.toReal();
        emit pressedAmountChanged();
        update();
    });
    connect(this, &QAbstractButton::pressed, this, &StyledButton::pressChanged);
    connect(this, &QAbstractButton::released, this, &StyledButton::pressChanged);
}

void StyledButton::pressChanged()
{
    m_press.stop();
    m_press.setStartValue(m_pressedAmount);
    m_press.setEndValue(isDown() ? 1.0 : 0.0);
    m_press.start();
}

namespace {

constexpr int symbolSize = 13;
constexpr int symbolGap = 6;

} // namespace

void StyledButton::setSymbol(Icons::Symbol symbol)
{
    m_symbol = symbol;
    updateGeometry();
    update();
}

QSize StyledButton::sizeHint() const
{
    int labelWidth = QFontMetrics(font()).horizontalAdvance(text());
    if (m_symbol)
        labelWidth += symbolSize + symbolGap;
    return {labelWidth + 2 * m_padding, faceHeight};
}

void StyledButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(isEnabled() ? opacityWhilePressed() : disabledOpacity);
    const QRectF face = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const qreal scale = 1.0 - (1.0 - pressedScale) * m_pressedAmount;
    const QPointF centre = face.center();
    painter.translate(centre);
    painter.scale(scale, scale);
    painter.translate(-centre);
    paintFace(painter, face);
}

void StyledButton::paintLabel(QPainter& painter, const QRectF& face, const QColor& colour)
{
    painter.setPen(colour);
    painter.setFont(font());
    QRectF label = face;
    if (m_symbol) {
        const qreal textWidth = QFontMetricsF(font()).horizontalAdvance(text());
        const qreal left = face.center().x() - (symbolSize + symbolGap + textWidth) / 2;
        Icons::paint(painter, *m_symbol,
                     QRectF(left, face.center().y() - symbolSize / 2.0, symbolSize, symbolSize), colour);
        label.setLeft(left + symbolSize + symbolGap);
        label.setWidth(textWidth + 1);
    }
    painter.drawText(label, Qt::AlignCenter, text());
    if (hasFocus() && focusPolicy() != Qt::NoFocus) {
        QColor ring = Theme::mutedForeground();
        ring.setAlphaF(0.6);
        painter.setPen(QPen(ring, 1.5));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(face.adjusted(1, 1, -1, -1), cornerRadius - 1, cornerRadius - 1);
    }
}

PrimaryButtonStyle::PrimaryButtonStyle(const QString& text, QWidget* parent) : StyledButton(text, 14, parent)
{}

qreal PrimaryButtonStyle::opacityWhilePressed() const
{
    return 1.0 - (1.0 - primaryPressedOpacity) * pressedAmount();
}

void PrimaryButtonStyle::paintFace(QPainter& painter, const QRectF& face)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::primary());
    painter.drawRoundedRect(face, cornerRadius, cornerRadius);
    paintLabel(painter, face, Theme::primaryForeground());
}

OutlineButtonStyle::OutlineButtonStyle(const QString& text, bool destructive, QWidget* parent)
    : StyledButton(text, 12, parent), m_destructive(destructive)
{}

void OutlineButtonStyle::paintFace(QPainter& painter, const QRectF& face)
{
    // The fill moves from card to muted with the press.
    const QColor from = Theme::card();
    const QColor to = Theme::muted();
    const qreal amount = qBound(0.0, pressedAmount(), 1.0);
    const QColor fill = QColor::fromRgbF(from.redF() + (to.redF() - from.redF()) * amount,
                                         from.greenF() + (to.greenF() - from.greenF()) * amount,
                                         from.blueF() + (to.blueF() - from.blueF()) * amount);
    QPen border(Theme::border(), 1);
    border.setMiterLimit(10);
    painter.setPen(border);
    painter.setBrush(fill);
    painter.drawRoundedRect(face, cornerRadius, cornerRadius);
    paintLabel(painter, face, m_destructive ? Theme::destructive() : Theme::foreground());
}

IconButton::IconButton(Icons::Symbol symbol, int symbolSize, const QString& toolTip, QWidget* parent)
    : QAbstractButton(parent), m_symbol(symbol), m_symbolSize(symbolSize)
{
    setToolTip(toolTip);
    setAccessibleName(toolTip);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::NoFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize IconButton::sizeHint() const
{
    const int side = m_symbolSize + 8;
    return {side, side};
}

void IconButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_hovered || isDown()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::muted());
        painter.drawRoundedRect(QRectF(rect()), 5, 5);
    }
    const QRectF symbol(QPointF(0, 0), QSizeF(m_symbolSize, m_symbolSize));
    Icons::paint(painter, m_symbol, symbol.translated(QRectF(rect()).center() - symbol.center()),
                 m_hovered ? Theme::foreground() : Theme::mutedForeground());
}

void IconButton::enterEvent(QEnterEvent* event)
{
    m_hovered = true;
    update();
    QAbstractButton::enterEvent(event);
}

void IconButton::leaveEvent(QEvent* event)
{
    m_hovered = false;
    update();
    QAbstractButton::leaveEvent(event);
}

namespace {

constexpr int boxSize = 14;
constexpr int boxGap = 6;

} // namespace

ThemedCheckBox::ThemedCheckBox(const QString& text, int pixelSize, QWidget* parent) : QCheckBox(text, parent)
{
    QFont labelFont;
    labelFont.setPixelSize(pixelSize);
    labelFont.setWeight(QFont::Medium);
    setFont(labelFont);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize ThemedCheckBox::sizeHint() const
{
    const QFontMetrics metrics(font());
    return {boxSize + boxGap + metrics.horizontalAdvance(text()) + 1, qMax(boxSize, metrics.height()) + 2};
}

void ThemedCheckBox::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box(0.5, (height() - boxSize) / 2.0 + 0.5, boxSize - 1, boxSize - 1);
    if (isChecked()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::primary());
        painter.drawRoundedRect(box, 4, 4);
        QPainterPath tick;
        tick.moveTo(box.left() + 3.3, box.center().y() + 0.2);
        tick.lineTo(box.left() + 5.8, box.bottom() - 3.6);
        tick.lineTo(box.right() - 3.0, box.top() + 3.6);
        painter.setPen(QPen(Theme::primaryForeground(), 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(tick);
    } else {
        painter.setPen(QPen(isDown() ? Theme::mutedForeground() : Theme::border(), 1));
        painter.setBrush(isDown() ? Theme::muted() : Theme::card());
        painter.drawRoundedRect(box, 4, 4);
    }
    if (hasFocus()) {
        painter.setPen(QPen(Theme::mutedForeground(), 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(box.adjusted(-1.5, -1.5, 1.5, 1.5), 5, 5);
    }
    painter.setPen(Theme::foreground());
    painter.setFont(font());
    painter.drawText(QRectF(boxSize + boxGap, 0, width() - boxSize - boxGap, height()),
                     Qt::AlignVCenter | Qt::AlignLeft, text());
}
