#include "views/PanelAdjustRow.h"

#include "config/Preferences.h"
#include "session/Session.h"
#include "views/ButtonStyles.h"
#include "views/PanelParts.h"
#include "views/PlatformWords.h"
#include "views/Theme.h"
#include "views/WindowParts.h"

#include <QHBoxLayout>
#include <QLineEdit>

namespace {

const QString shorterInstruction = QStringLiteral("make it shorter");
const QString longerInstruction = QStringLiteral("make it longer and more detailed");

// The field's rounded, outlined box, outlined more strongly while the field has focus.
class OutlinedBox : public QWidget
{
public:
    explicit OutlinedBox(QWidget* parent) : QWidget(parent) { setFixedHeight(StyledButton::faceHeight); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QWidget* field = focusWidget();
        const bool focused = field && field->hasFocus();
        PanelParts::paintRoundedBox(this, StyledButton::cornerRadius, Theme::card(),
                                    focused ? Theme::mutedForeground() : Theme::border());
    }
};

} // namespace

PanelAdjustRow::PanelAdjustRow(Session& session, QWidget* parent) : QWidget(parent)
{
    auto* layout = PanelParts::rowLayout(this, PanelParts::innerSpacing);
    m_shorter = new OutlineButtonStyle(tr("Shorter"), false, this);
    m_shorter->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Minus));
    connect(m_shorter, &QAbstractButton::clicked, this, [&session] { session.refine(shorterInstruction); });
    m_longer = new OutlineButtonStyle(tr("Longer"), false, this);
    m_longer->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Equal));
    connect(m_longer, &QAbstractButton::clicked, this, [&session] { session.refine(longerInstruction); });
    auto* box = new OutlinedBox(this);
    auto* boxLayout = PanelParts::rowLayout(box, 0);
    boxLayout->setContentsMargins(8, 0, 8, 0);
    m_field = new QLineEdit(box);
    m_field->setFrame(false);
    m_field->setFont(WindowParts::pixelFont(13));
    m_field->setPlaceholderText(tr("Adjust\u2026 e.g. more formal, in Cantonese"));
    // The field is narrower than its hint beside the two buttons: the whole hint shows on hover.
    m_field->setToolTip(m_field->placeholderText());
    m_field->setAccessibleName(tr("Adjust the answer"));
    m_field->setAttribute(Qt::WA_MacShowFocusRect, false);
    // Only the background is the field's own; every other colour follows the panel's theme.
    QPalette clear;
    clear.setColor(QPalette::Base, Qt::transparent);
    m_field->setPalette(clear);
    boxLayout->addWidget(m_field);
    connect(m_field, &QLineEdit::textEdited, this,
            [&session](const QString& text) { session.setAdjustText(text); });
    connect(m_field, &QLineEdit::returnPressed, this, [&session] { session.refine(session.adjustText()); });
    layout->addWidget(m_shorter);
    layout->addWidget(m_longer);
    layout->addWidget(box, 1);
    localize();
    connect(&Preferences::shared(), &Preferences::didChange, this, &PanelAdjustRow::localize);
}

void PanelAdjustRow::showInstruction(const QString& instruction)
{
    if (m_field->text() != instruction)
        m_field->setText(instruction);
}

void PanelAdjustRow::focusField()
{
    m_field->setFocus(Qt::OtherFocusReason);
}

void PanelAdjustRow::localize()
{
    m_shorter->setToolTip(PlatformWords::localize(tr("Make it shorter (\u2318\u2212)")));
    m_longer->setToolTip(PlatformWords::localize(tr("Make it longer (\u2318=)")));
}
