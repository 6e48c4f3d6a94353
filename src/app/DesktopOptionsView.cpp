#include "app/DesktopOptionsView.h"

#include "app/Autostart.h"
#include "config/Preferences.h"
#include "views/ButtonStyles.h"
#include "views/PlatformWords.h"
#include "views/Theme.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QGridLayout>
#include <QLabel>

DesktopOptionsView::DesktopOptionsView(bool trayAvailable, std::function<void()> onChangeShortcut,
                                       QWidget* parent)
    : QWidget(parent), m_shortcut(new QLabel(this)), m_note(new QLabel(this)),
      m_startAtLogin(new QCheckBox(this)), m_autostartProblem(new QLabel(this))
{
    auto* shortcutTitle = new QLabel(QStringLiteral("Shortcut"), this);
    auto* change = new OutlineButtonStyle(QStringLiteral("Change…"), false, this);
    connect(change, &QPushButton::clicked, this,
            [onChangeShortcut = std::move(onChangeShortcut)] { onChangeShortcut(); });
    shortcutTitle->setBuddy(change);

    auto* loginTitle = new QLabel(QStringLiteral("Start at login"), this);
    m_startAtLogin->setAccessibleName(loginTitle->text());
    m_startAtLogin->setChecked(Autostart::isEnabled());
    loginTitle->setBuddy(m_startAtLogin);
    connect(m_startAtLogin, &QCheckBox::toggled, this, &DesktopOptionsView::startAtLoginToggled);
    m_autostartProblem->setWordWrap(true);
    m_autostartProblem->hide();

    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(24, 0, 24, 20);
    layout->setHorizontalSpacing(12);
    layout->setVerticalSpacing(10);
    layout->setColumnStretch(1, 1);
    layout->addWidget(shortcutTitle, 0, 0);
    layout->addWidget(m_shortcut, 0, 1);
    layout->addWidget(change, 0, 2, Qt::AlignRight);
    layout->addWidget(loginTitle, 1, 0);
    layout->addWidget(m_startAtLogin, 1, 2, Qt::AlignRight);
    layout->addWidget(m_autostartProblem, 2, 0, 1, 3);
    layout->addWidget(m_note, 3, 0, 1, 3);
    m_note->setWordWrap(true);
    m_note->setVisible(!trayAvailable);

    showShortcut();
    connect(&Preferences::shared(), &Preferences::didChange, this, &DesktopOptionsView::showShortcut);
    recolour();
    connect(&Theme::Watcher::shared(), &Theme::Watcher::appearanceChanged, this,
            &DesktopOptionsView::recolour);
}

void DesktopOptionsView::recolour()
{
    const auto paint = [](QLabel* label, const QColor& colour) {
        QPalette palette = label->palette();
        palette.setColor(QPalette::WindowText, colour);
        label->setPalette(palette);
    };
    paint(m_shortcut, Theme::mutedForeground());
    paint(m_note, Theme::mutedForeground());
    paint(m_autostartProblem, Theme::destructive());
}

void DesktopOptionsView::showShortcut()
{
    m_shortcut->setText(PlatformWords::askShortcut());
    m_note->setText(PlatformWords::localize(noTrayNote));
}

void DesktopOptionsView::startAtLoginToggled(bool enabled)
{
    const std::optional<Error> failure =
        Autostart::setEnabled(enabled, QCoreApplication::applicationFilePath());
    m_autostartProblem->setVisible(failure.has_value());
    if (!failure)
        return;
    m_autostartProblem->setText(failure->message);
    // The box shows what is on the disk.
    const QSignalBlocker quiet(m_startAtLogin);
    m_startAtLogin->setChecked(Autostart::isEnabled());
}
