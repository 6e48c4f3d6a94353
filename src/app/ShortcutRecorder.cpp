#include "app/ShortcutRecorder.h"

#include "views/ButtonStyles.h"
#include "views/Theme.h"

#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

ShortcutRecorder::ShortcutRecorder(const QKeySequence& current, Attempt attempt, QWidget* parent)
    : QDialog(parent), m_attempt(std::move(attempt)), m_shortcut(new QLabel(this)),
      m_problem(new QLabel(this))
{
    setWindowTitle(QStringLiteral("Change shortcut"));
    auto* prompt = new QLabel(QStringLiteral("Press the new shortcut"), this);
    m_shortcut->setText(current.toString(QKeySequence::NativeText));
    m_shortcut->setAlignment(Qt::AlignCenter);
    QFont large = m_shortcut->font();
    large.setPointSizeF(large.pointSizeF() * 1.6);
    large.setWeight(QFont::Medium);
    m_shortcut->setFont(large);
    m_shortcut->setAccessibleName(QStringLiteral("Shortcut"));
    m_problem->setWordWrap(true);
    m_problem->hide();
    auto* cancel = new OutlineButtonStyle(QStringLiteral("Cancel"), false, this);
    // The keys go to the recorder, never to the button.
    cancel->setFocusPolicy(Qt::NoFocus);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->setSpacing(12);
    layout->addWidget(prompt);
    layout->addWidget(m_shortcut);
    layout->addWidget(m_problem);
    layout->addWidget(cancel, 0, Qt::AlignRight);
    setMinimumWidth(340);
    setFocusPolicy(Qt::StrongFocus);
    Theme::follow(this);
}

void ShortcutRecorder::keyPressEvent(QKeyEvent* event)
{
    const Qt::KeyboardModifiers modifiers =
        event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier | Qt::ShiftModifier);
    const auto key = Qt::Key(event->key());
    if (key == Qt::Key_Escape && modifiers == Qt::NoModifier) {
        reject();
        return;
    }
    const QKeySequence shortcut(QKeyCombination(modifiers, key));
    if (!AskShortcuts::isUsable(shortcut)) {
        // Modifiers on their own are a combination still being pressed.
        if (key != Qt::Key_Control && key != Qt::Key_Alt && key != Qt::Key_Meta && key != Qt::Key_Shift)
            showProblem(unusableText);
        return;
    }
    m_shortcut->setText(shortcut.toString(QKeySequence::NativeText));
    switch (m_attempt(shortcut)) {
    case AskShortcuts::Outcome::Registered:
        accept();
        return;
    case AskShortcuts::Outcome::Taken:
        showProblem(takenText);
        return;
    case AskShortcuts::Outcome::Unusable:
        showProblem(unusableText);
        return;
    }
}

void ShortcutRecorder::showProblem(const QString& text)
{
    QPalette palette = m_problem->palette();
    palette.setColor(QPalette::WindowText, Theme::destructive());
    m_problem->setPalette(palette);
    m_problem->setText(text);
    m_problem->show();
}
