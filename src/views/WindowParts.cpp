#include "views/WindowParts.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace WindowParts {

QFont pixelFont(int size, QFont::Weight weight)
{
    QFont font;
    font.setPixelSize(size);
    font.setWeight(weight);
    return font;
}

} // namespace WindowParts

ThemedLabel::ThemedLabel(const QString& text, int pixelSize, QFont::Weight weight, Theme::Role role,
                         QWidget* parent)
    : QLabel(text, parent), m_role(role)
{
    setFont(WindowParts::pixelFont(pixelSize, weight));
    applyColour();
    connect(&Theme::Watcher::shared(), &Theme::Watcher::appearanceChanged, this, &ThemedLabel::applyColour);
}

void ThemedLabel::applyColour()
{
    QPalette colours = palette();
    colours.setColor(QPalette::WindowText, Theme::colour(m_role, Theme::appearance()));
    setPalette(colours);
}

GroupBox::GroupBox(QWidget* parent) : QFrame(parent), m_content(new QVBoxLayout(this))
{
    m_content->setContentsMargins(12, 12, 12, 12);
}

void GroupBox::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Theme::border(), 1));
    QColor fill = Theme::muted();
    fill.setAlphaF(0.6);
    painter.setBrush(fill);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
}

RoundedField::RoundedField(const QString& placeholder, QWidget* parent) : QLineEdit(parent)
{
    setPlaceholderText(placeholder);
    setAccessibleName(placeholder);
    setFont(WindowParts::pixelFont(WindowParts::bodySize));
    setFrame(false);
    setTextMargins(8, 0, 8, 0);
    setMinimumHeight(28);
    // The rounded face is painted here; the style's square base would show at the corners.
    QPalette colours = palette();
    colours.setColor(QPalette::Base, Qt::transparent);
    setPalette(colours);
}

void RoundedField::paintEvent(QPaintEvent* event)
{
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(hasFocus() ? Theme::mutedForeground() : Theme::border(), 1));
        painter.setBrush(Theme::card());
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    }
    // The text, caret and placeholder on a transparent base over the rounded face.
    QLineEdit::paintEvent(event);
}

ThemedSwitch::ThemedSwitch(const QString& accessibleName, QWidget* parent) : QAbstractButton(parent)
{
    setCheckable(true);
    setAccessibleName(accessibleName);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    m_slide.setDuration(Theme::springDurationMs);
    m_slide.setEasingCurve(Theme::spring());
    connect(&m_slide, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        m_position = value.toReal();
        update();
    });
    connect(this, &QAbstractButton::toggled, this, [this](bool on) {
        m_slide.stop();
        m_slide.setStartValue(m_position);
        m_slide.setEndValue(on ? 1.0 : 0.0);
        if (isVisible())
            m_slide.start();
        else
            m_position = on ? 1.0 : 0.0;
    });
}

void ThemedSwitch::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(rect()).adjusted(1, 1, -1, -1);
    const qreal radius = track.height() / 2;
    QColor off = Theme::border();
    QColor on = Theme::primary();
    QColor fill;
    fill.setRgbF(off.redF() + (on.redF() - off.redF()) * m_position,
                 off.greenF() + (on.greenF() - off.greenF()) * m_position,
                 off.blueF() + (on.blueF() - off.blueF()) * m_position, 1.0);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(track, radius, radius);
    const qreal knob = track.height() - 4;
    const qreal x = track.left() + 2 + (track.width() - knob - 4) * m_position;
    const QColor offKnob =
        Theme::appearance() == Theme::Appearance::Dark ? Theme::mutedForeground() : Theme::card();
    painter.setBrush(m_position > 0.5 ? Theme::primaryForeground() : offKnob);
    painter.setPen(QPen(Theme::border(), 0.5));
    painter.drawEllipse(QRectF(x, track.top() + 2, knob, knob));
    if (hasFocus()) {
        QColor ring = Theme::mutedForeground();
        ring.setAlphaF(0.6);
        painter.setPen(QPen(ring, 1.5));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(track, radius, radius);
    }
}

namespace {

// One segment of a picker: its label, on the card colour with a border when chosen.
class Segment : public QAbstractButton
{
public:
    Segment(const QString& text, QWidget* parent) : QAbstractButton(parent)
    {
        setText(text);
        setAccessibleName(text);
        setCheckable(true);
        setAutoExclusive(true);
        setCursor(Qt::PointingHandCursor);
        setFont(WindowParts::pixelFont(WindowParts::calloutSize, QFont::Medium));
    }

    QSize sizeHint() const override { return {QFontMetrics(font()).horizontalAdvance(text()) + 24, 24}; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        if (isChecked()) {
            painter.setPen(QPen(Theme::border(), 1));
            painter.setBrush(Theme::card());
            painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
        }
        painter.setPen(isChecked() ? Theme::foreground() : Theme::mutedForeground());
        painter.setFont(font());
        painter.drawText(rect(), Qt::AlignCenter, text());
        if (hasFocus()) {
            QColor ring = Theme::mutedForeground();
            ring.setAlphaF(0.6);
            painter.setPen(QPen(ring, 1.5));
            painter.setBrush(Qt::NoBrush);
            painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 5, 5);
        }
    }
};

} // namespace

SegmentedPicker::SegmentedPicker(const QStringList& segments, const QString& accessibleName, QWidget* parent)
    : QWidget(parent)
{
    setAccessibleName(accessibleName);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(2, 2, 2, 2);
    row->setSpacing(2);
    for (const QString& text : segments) {
        auto* segment = new Segment(text, this);
        const int index = int(m_segments.size());
        connect(segment, &QAbstractButton::clicked, this, [this, index] { setCurrent(index); });
        m_segments.append(segment);
        row->addWidget(segment, 1);
    }
    m_segments.first()->setChecked(true);
}

void SegmentedPicker::setCurrent(int index)
{
    m_segments.at(index)->setChecked(true);
    if (index == m_current)
        return;
    m_current = index;
    emit currentChanged(index);
}

void SegmentedPicker::setSegmentVisible(int index, bool visible)
{
    m_segments.at(index)->setVisible(visible);
}

void SegmentedPicker::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::muted());
    painter.drawRoundedRect(QRectF(rect()), 7, 7);
}

BusySpinner::BusySpinner(QWidget* parent, Shape shape) : QProgressBar(parent), m_shape(shape)
{
    setRange(0, 0);
    setTextVisible(false);
    setFixedSize(shape.diameter, shape.diameter);
    setAccessibleName(tr("Working"));
    m_turn.setStartValue(0.0);
    m_turn.setEndValue(360.0);
    m_turn.setDuration(900);
    m_turn.setLoopCount(-1);
    connect(&m_turn, &QVariantAnimation::valueChanged, this, qOverload<>(&QWidget::update));
}

void BusySpinner::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF ring = QRectF(rect()).adjusted(m_shape.inset, m_shape.inset, -m_shape.inset, -m_shape.inset);
    QColor track = Theme::mutedForeground();
    track.setAlphaF(0.25);
    painter.setPen(QPen(track, m_shape.stroke));
    painter.drawEllipse(ring);
    painter.setPen(QPen(Theme::mutedForeground(), m_shape.stroke, Qt::SolidLine, Qt::RoundCap));
    const int start = -int(m_turn.currentValue().toReal() * 16);
    painter.drawArc(ring, start, 100 * 16);
}

void BusySpinner::showEvent(QShowEvent* event)
{
    m_turn.start();
    QProgressBar::showEvent(event);
}

void BusySpinner::hideEvent(QHideEvent* event)
{
    m_turn.stop();
    QProgressBar::hideEvent(event);
}
