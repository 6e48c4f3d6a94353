#include "app/DesktopOptionsView.h"

#include "app/Autostart.h"
#include "config/Preferences.h"
#include "views/ButtonStyles.h"
#include "views/PlatformWords.h"
#include "views/WindowParts.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QVBoxLayout>

using WindowParts::bodySize;
using WindowParts::captionSize;

namespace {

// A title over a caption, the way every row of the home window reads.
QVBoxLayout* titled(const QString& title, ThemedLabel* caption, QWidget* parent)
{
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    texts->addWidget(new ThemedLabel(title, bodySize, QFont::Medium, Theme::Role::Foreground, parent));
    texts->addWidget(caption);
    return texts;
}

} // namespace

DesktopOptionsView::DesktopOptionsView(bool trayAvailable, QWidget* parent) : QWidget(parent)
{
    auto* group = new GroupBox(this);
    auto* loginCaption = new ThemedLabel(QStringLiteral("Open Tavrin when you log in to this computer."),
                                         captionSize, QFont::Normal, Theme::Role::MutedForeground, group);
    auto* loginRow = new QHBoxLayout;
    loginRow->setSpacing(12);
    loginRow->addLayout(titled(QStringLiteral("Start at login"), loginCaption, group), 1);
    m_startAtLogin = new ThemedSwitch(QStringLiteral("Start at login"), group);
    m_startAtLogin->setChecked(Autostart::isEnabled());
    connect(m_startAtLogin, &QAbstractButton::toggled, this, &DesktopOptionsView::startAtLoginToggled);
    loginRow->addWidget(m_startAtLogin, 0, Qt::AlignVCenter);

    m_autostartProblem =
        new ThemedLabel(QString(), captionSize, QFont::Normal, Theme::Role::Destructive, group);
    m_autostartProblem->setWordWrap(true);
    m_autostartProblem->hide();
    group->content()->setSpacing(12);
    group->content()->addLayout(loginRow);
    group->content()->addWidget(m_autostartProblem);

    m_note = new ThemedLabel(QString(), captionSize, QFont::Normal, Theme::Role::MutedForeground, this);
    m_note->setWordWrap(true);
    m_note->setVisible(!trayAvailable);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(10);
    column->addWidget(group);
    column->addWidget(m_note);

    showNote();
    connect(&Preferences::shared(), &Preferences::didChange, this, &DesktopOptionsView::showNote);
}

void DesktopOptionsView::showNote()
{
    m_note->setText(PlatformWords::localize(noTrayNote));
}

void DesktopOptionsView::startAtLoginToggled(bool enabled)
{
    const Result<void> written = Autostart::setEnabled(enabled, QCoreApplication::applicationFilePath());
    m_autostartProblem->setVisible(!written.ok());
    if (written.ok())
        return;
    m_autostartProblem->setText(written.error().message);
    // The switch shows what is on the disk.
    const QSignalBlocker quiet(m_startAtLogin);
    m_startAtLogin->setChecked(Autostart::isEnabled());
}
