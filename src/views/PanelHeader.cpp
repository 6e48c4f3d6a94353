#include "views/PanelHeader.h"

#include "config/Preferences.h"
#include "views/ButtonStyles.h"
#include "views/MorvikMark.h"
#include "views/PanelParts.h"
#include "views/Theme.h"
#include "views/WindowParts.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QVariantAnimation>

namespace {

constexpr int markSize = 18;

// The busy indicator of the thinking and listening phases: a small arc that turns.
class BusyIndicator : public QProgressBar
{
public:
    explicit BusyIndicator(QWidget* parent) : QProgressBar(parent)
    {
        setRange(0, 0);
        setTextVisible(false);
        setFixedSize(12, 12);
        setAccessibleName(QObject::tr("Working"));
        m_turn.setStartValue(0.0);
        m_turn.setEndValue(360.0);
        m_turn.setDuration(900);
        m_turn.setLoopCount(-1);
        QObject::connect(&m_turn, &QVariantAnimation::valueChanged, this, [this] { update(); });
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF ring = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5);
        QColor track = Theme::mutedForeground();
        track.setAlphaF(0.25);
        painter.setPen(QPen(track, 1.8));
        painter.drawEllipse(ring);
        painter.setPen(QPen(Theme::mutedForeground(), 1.8, Qt::SolidLine, Qt::RoundCap));
        const int start = -int(m_turn.currentValue().toReal() * 16);
        painter.drawArc(ring, start, 100 * 16);
    }
    void showEvent(QShowEvent* event) override
    {
        m_turn.start();
        QProgressBar::showEvent(event);
    }
    void hideEvent(QHideEvent* event) override
    {
        m_turn.stop();
        QProgressBar::hideEvent(event);
    }

private:
    QVariantAnimation m_turn;
};

} // namespace

PanelHeader::PanelHeader(QWidget* parent) : QWidget(parent)
{
    auto* layout = PanelParts::rowLayout(this, 8);
    auto* mark = new MorvikMark(markSize, this);
    mark->setAccessibleName(QStringLiteral("Tavrin"));
    m_title = new QLabel(this);
    m_title->setFont(WindowParts::pixelFont(13, QFont::Medium));
    m_busy = new BusyIndicator(this);
    m_appName = PanelParts::captionLabel(this);
    m_autoInsert = new ThemedCheckBox(tr("Auto-insert"), 11, this);
    m_autoInsert->setToolTip(tr("Paste answers as soon as they're ready, without pressing Insert"));
    m_autoInsert->setChecked(Preferences::autoInsert());
    connect(m_autoInsert, &QCheckBox::clicked, this,
            [](bool checked) { Preferences::setAutoInsert(checked); });
    connect(&Preferences::shared(), &Preferences::didChange, this,
            [this] { m_autoInsert->setChecked(Preferences::autoInsert()); });
    layout->addWidget(mark);
    layout->addWidget(m_title);
    layout->addWidget(m_busy);
    layout->addStretch(1);
    layout->addWidget(m_appName);
    layout->addSpacing(4);
    layout->addWidget(m_autoInsert);
}

void PanelHeader::showPhase(const QString& title, bool busy)
{
    m_title->setText(title);
    m_busy->setVisible(busy);
}

void PanelHeader::showApp(const QString& name)
{
    m_appName->setText(name);
    m_appName->setVisible(!name.isEmpty());
}
