#include "views/PanelParts.h"

#include "views/Theme.h"
#include "views/WindowParts.h"

#include <QGraphicsEffect>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QVariantAnimation>

namespace {

// Draws a widget faded and shifted while it appears.
class AppearEffect : public QGraphicsEffect
{
public:
    AppearEffect(qreal offset, QObject* parent) : QGraphicsEffect(parent), m_offset(offset) {}

    void setProgress(qreal progress)
    {
        m_progress = progress;
        update();
    }

protected:
    void draw(QPainter* painter) override
    {
        painter->save();
        painter->setOpacity(painter->opacity() * qBound(0.0, m_progress, 1.0));
        painter->translate(0, m_offset * (1.0 - m_progress));
        drawSource(painter);
        painter->restore();
    }

private:
    qreal m_offset;
    qreal m_progress = 0;
};

} // namespace

namespace PanelParts {

QLabel* wrappedLabel(int size, QFont::Weight weight, bool secondary, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setFont(WindowParts::pixelFont(size, weight));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    if (secondary)
        label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QLabel* captionLabel(QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setFont(WindowParts::pixelFont(11));
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QHBoxLayout* rowLayout(QWidget* owner, int spacing)
{
    auto* layout = new QHBoxLayout(owner);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    return layout;
}

void paintRoundedBox(QWidget* widget, qreal radius, const QColor& fill, const std::optional<QColor>& outline)
{
    QPainter painter(widget);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(outline ? QPen(*outline, 1) : QPen(Qt::NoPen));
    painter.setBrush(fill);
    // A one-pixel line centred half a pixel inside the edge covers whole pixels.
    const qreal inset = outline ? 0.5 : 0;
    painter.drawRoundedRect(QRectF(widget->rect()).adjusted(inset, inset, -inset, -inset), radius, radius);
}

void reveal(QWidget* row, qreal offset)
{
    auto* effect = new AppearEffect(offset, row);
    row->setGraphicsEffect(effect);
    auto* motion = new QVariantAnimation(effect);
    motion->setStartValue(0.0);
    motion->setEndValue(1.0);
    motion->setDuration(Theme::springDurationMs);
    motion->setEasingCurve(Theme::spring());
    QObject::connect(motion, &QVariantAnimation::valueChanged, effect,
                     [effect](const QVariant& value) { effect->setProgress(value.toReal()); });
    QObject::connect(motion, &QVariantAnimation::finished, row, [row] { row->setGraphicsEffect(nullptr); });
    motion->start();
}

} // namespace PanelParts
