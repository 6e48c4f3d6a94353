#include "views/PairView.h"

#include "config/Preferences.h"
#include "views/ButtonStyles.h"
#include "views/PairModel.h"
#include "views/PlatformWords.h"
#include "views/QrImage.h"
#include "views/WindowParts.h"

#include <QFontDatabase>
#include <QPainter>
#include <QTimer>
#include <QVBoxLayout>

using WindowParts::calloutSize;
using WindowParts::captionSize;

// A QR code in a white square, its modules drawn as whole device pixels without smoothing, so that
// cameras read it from the screen.
class QrView : public QWidget
{
public:
    QrView(const QString& accessibleName, QWidget* parent) : QWidget(parent)
    {
        setAccessibleName(accessibleName);
        setFixedSize(PairView::qrSide, PairView::qrSide);
    }

    void setText(const QString& text)
    {
        if (text == m_text)
            return;
        m_text = text;
        m_modules = QrImage::encode(text, 1);
        setAccessibleDescription(text);
        setVisible(m_modules.has_value());
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        if (!m_modules)
            return;
        QPainter painter(this);
        painter.fillRect(rect(), Qt::white);
        const qreal ratio = devicePixelRatioF();
        const int devicePixels = int(PairView::qrSide * ratio);
        const int modulePixels = QrImage::modulePixelsToFit(m_modules->width(), devicePixels);
        const int drawn = modulePixels * m_modules->width();
        // Whole device pixels per module, centred; the white square's rest is quiet zone too.
        const qreal offset = (devicePixels - drawn) / 2 / ratio;
        painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
        painter.drawImage(QRectF(offset, offset, drawn / ratio, drawn / ratio), *m_modules);
    }

private:
    QString m_text;
    std::optional<QImage> m_modules;
};

namespace {

QWidget* centredColumn(QWidget* parent, QVBoxLayout** layout)
{
    auto* box = new QWidget(parent);
    *layout = new QVBoxLayout(box);
    (*layout)->setContentsMargins(0, 0, 0, 0);
    (*layout)->setSpacing(14);
    (*layout)->setAlignment(Qt::AlignHCenter);
    return box;
}

ThemedLabel* centredText(const QString& text, int size, Theme::Role role, QWidget* parent)
{
    auto* label = new ThemedLabel(text, size, QFont::Normal, role, parent);
    label->setAlignment(Qt::AlignHCenter);
    label->setWordWrap(true);
    return label;
}

} // namespace

PairView::PairView(PairModel& model, QWidget* parent) : QWidget(parent), m_model(model)
{
    setFixedWidth(fixedWidth);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(28, 28, 28, 28);
    column->setSpacing(14);
    auto* title =
        new ThemedLabel(QStringLiteral("Add your iPhone"), 17, QFont::Bold, Theme::Role::Foreground, this);
    title->setAlignment(Qt::AlignHCenter);
    column->addWidget(title);
    m_signedOut = makeSignedOut();
    m_pairing = makePairing();
    m_legacy = makeLegacy();
    m_failure = makeFailure();
    for (QWidget* state : {m_signedOut, m_pairing, m_legacy, m_failure})
        column->addWidget(state);
    m_spinner = new BusySpinner(this);
    column->addWidget(m_spinner, 0, Qt::AlignHCenter);
    Theme::follow(this);

    for (const auto changed : {&PairModel::pairingChanged, &PairModel::legacyChanged,
                               &PairModel::messageChanged, &PairModel::countdownChanged})
        connect(&m_model, changed, this, &PairView::showState);
    connect(&Preferences::shared(), &Preferences::didChange, this, &PairView::showState);
    showState();
}

QWidget* PairView::makeSignedOut()
{
    QVBoxLayout* column = nullptr;
    QWidget* box = centredColumn(this, &column);
    m_signedOutText = centredText(QString(), WindowParts::bodySize, Theme::Role::MutedForeground, box);
    column->addWidget(m_signedOutText);
    return box;
}

QWidget* PairView::makePairing()
{
    QVBoxLayout* column = nullptr;
    QWidget* box = centredColumn(this, &column);
    m_pairingQr = new QrView(QStringLiteral("Pairing QR code"), box);
    column->addWidget(m_pairingQr, 0, Qt::AlignHCenter);
    m_code = new ThemedLabel(QString(), 26, QFont::DemiBold, Theme::Role::Foreground, box);
    QFont codeFont = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    codeFont.setPixelSize(26);
    codeFont.setWeight(QFont::DemiBold);
    m_code->setFont(codeFont);
    m_code->setObjectName(QStringLiteral("code"));
    m_code->setAlignment(Qt::AlignHCenter);
    m_code->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    column->addWidget(m_code);
    column->addWidget(
        centredText(QStringLiteral("Scan with the iPhone Camera, or type the code in Tavrin › Sign in › "
                                   "I have a pairing code."),
                    calloutSize, Theme::Role::MutedForeground, box));
    m_countdown = centredText(QString(), captionSize, Theme::Role::MutedForeground, box);
    m_countdown->setObjectName(QStringLiteral("countdown"));
    // Digits of equal width, so that the line does not jitter as it counts.
    QFont tabular = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    tabular.setPixelSize(captionSize);
    m_countdown->setFont(tabular);
    column->addWidget(m_countdown);
    auto* newCode = new OutlineButtonStyle(QStringLiteral("New code"), false, box);
    connect(newCode, &QPushButton::clicked, &m_model, &PairModel::load);
    column->addWidget(newCode, 0, Qt::AlignHCenter);
    return box;
}

QWidget* PairView::makeLegacy()
{
    QVBoxLayout* column = nullptr;
    QWidget* box = centredColumn(this, &column);
    m_legacyQr = new QrView(QStringLiteral("Server QR code"), box);
    column->addWidget(m_legacyQr, 0, Qt::AlignHCenter);
    column->addWidget(
        centredText(QStringLiteral("This server has no accounts yet; the QR carries its shared token."),
                    captionSize, Theme::Role::MutedForeground, box));
    return box;
}

QWidget* PairView::makeFailure()
{
    QVBoxLayout* column = nullptr;
    QWidget* box = centredColumn(this, &column);
    m_message = centredText(QString(), WindowParts::bodySize, Theme::Role::Destructive, box);
    m_message->setObjectName(QStringLiteral("message"));
    column->addWidget(m_message);
    auto* tryAgain = new OutlineButtonStyle(QStringLiteral("Try again"), false, box);
    connect(tryAgain, &QPushButton::clicked, &m_model, &PairModel::load);
    column->addWidget(tryAgain, 0, Qt::AlignHCenter);
    return box;
}

void PairView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    m_model.appeared();
}

void PairView::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    m_model.disappeared();
}

void PairView::showState()
{
    enum class Shown { SignedOut, Pairing, Legacy, Failure, Loading };
    const Shown shown = !m_model.config()      ? Shown::SignedOut
                        : m_model.hasPairing() ? Shown::Pairing
                        : m_model.legacy()     ? Shown::Legacy
                        : m_model.hasMessage() ? Shown::Failure
                                               : Shown::Loading;
    m_signedOut->setVisible(shown == Shown::SignedOut);
    m_pairing->setVisible(shown == Shown::Pairing);
    m_legacy->setVisible(shown == Shown::Legacy);
    m_failure->setVisible(shown == Shown::Failure);
    m_spinner->setVisible(shown == Shown::Loading);
    m_signedOutText->setText(PlatformWords::localize(QStringLiteral("Sign in on this Mac first.")));
    if (m_model.pairing()) {
        m_pairingQr->setText(m_model.pairing()->deepLink);
        m_code->setText(m_model.pairing()->code);
        m_code->setAccessibleName(QStringLiteral("Pairing code"));
    }
    m_countdown->setText(m_model.countdown());
    if (shown == Shown::Legacy)
        m_legacyQr->setText(m_model.legacyLink());
    m_message->setText(m_model.message());
    QTimer::singleShot(0, this, [this] { window()->adjustSize(); });
}
