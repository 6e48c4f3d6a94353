#include "views/HomeView.h"

#include "config/Preferences.h"
#include "views/ButtonStyles.h"
#include "views/HomeModel.h"
#include "views/MorvikMark.h"
#include "views/PlatformWords.h"
#include "views/WindowParts.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QTimer>
#include <QVBoxLayout>

using WindowParts::bodySize;
using WindowParts::calloutSize;
using WindowParts::captionSize;

// One line of the status group: whether something is in place, what that means, and the button that
// puts it in place when it is not.
class StatusRow : public QWidget
{
public:
    StatusRow(const QString& name, QWidget* parent) : QWidget(parent)
    {
        setObjectName(name);
        auto* row = new QHBoxLayout(this);
        row->setContentsMargins(0, 0, 0, 0);
        row->setSpacing(10);
        m_icon = new QLabel(this);
        m_icon->setFixedSize(iconSize, iconSize);
        row->addWidget(m_icon, 0, Qt::AlignTop);
        auto* texts = new QVBoxLayout;
        texts->setSpacing(2);
        m_title = new ThemedLabel(QString(), bodySize, QFont::Medium, Theme::Role::Foreground, this);
        m_detail = new ThemedLabel(QString(), captionSize, QFont::Normal, Theme::Role::MutedForeground, this);
        m_detail->setWordWrap(true);
        texts->addWidget(m_title);
        texts->addWidget(m_detail);
        row->addLayout(texts, 1);
        m_button = new PrimaryButtonStyle(QString(), this);
        row->addWidget(m_button, 0, Qt::AlignVCenter);
        connect(&Theme::Watcher::shared(), &Theme::Watcher::appearanceChanged, this, [this] { paintIcon(); });
    }

    QPushButton* button() const { return m_button; }

    void setState(const QString& title, bool ok, const QString& detail, const QString& action)
    {
        m_ok = ok;
        m_title->setText(title);
        m_detail->setText(detail);
        m_button->setText(action);
        m_button->setVisible(!action.isEmpty());
        m_icon->setAccessibleName(ok ? QStringLiteral("In place") : QStringLiteral("Needs attention"));
        paintIcon();
    }

private:
    static constexpr int iconSize = 16;

    void paintIcon()
    {
        const QIcon icon = m_ok ? Icons::icon(Icons::Symbol::CheckmarkCircleFill, iconSize,
                                              Theme::foreground(), devicePixelRatioF())
                                : Icons::icon(Icons::Symbol::ExclamationmarkCircle, iconSize,
                                              Theme::destructive(), devicePixelRatioF());
        m_icon->setPixmap(icon.pixmap(iconSize, iconSize));
    }

    QLabel* m_icon;
    ThemedLabel* m_title;
    ThemedLabel* m_detail;
    PrimaryButtonStyle* m_button;
    bool m_ok = false;
};

HomeView::HomeView(HomeModel& model, QWidget* parent) : QWidget(parent), m_model(model)
{
    setFixedWidth(fixedWidth);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(22, 22, 22, 22);
    column->setSpacing(18);
    column->addWidget(makeHeader());
    column->addWidget(makeStatus());
    column->addWidget(makeAutoInsert());
    column->addWidget(makeTest());
    column->addWidget(makeFooter());
    Theme::follow(this);

    for (const auto changed :
         {&HomeModel::configChanged, &HomeModel::serverChanged, &HomeModel::serverOKChanged,
          &HomeModel::accessibilityChanged, &HomeModel::accessibilityNoteChanged,
          &HomeModel::voiceDetailChanged, &HomeModel::microphoneChanged, &HomeModel::speechChanged,
          &HomeModel::hotKeyOKChanged})
        connect(&m_model, changed, this, &HomeView::showStatus);
    for (const auto changed :
         {&HomeModel::testOutputChanged, &HomeModel::testingChanged, &HomeModel::testInputChanged})
        connect(&m_model, changed, this, &HomeView::showTest);
    connect(&m_model, &HomeModel::configChanged, this, &HomeView::showAccountActions);
    connect(&Preferences::shared(), &Preferences::didChange, this, [this] {
        m_autoInsert->setChecked(Preferences::autoInsert());
        localize();
    });
    localize();
    showTest();
    showAccountActions();
}

void HomeView::addSection(QWidget* section)
{
    auto* column = static_cast<QVBoxLayout*>(layout());
    column->insertWidget(column->count() - 1, section);
    fitWindow();
}

void HomeView::fitWindow()
{
    // Wrapped texts change their height with their content: the window follows once the layout has
    // taken the change in. It is never narrower than its buttons need.
    QTimer::singleShot(0, this, [this] {
        setFixedWidth(std::max(fixedWidth, layout()->minimumSize().width()));
        window()->adjustSize();
        // The size hint measures wrapped texts at another width than the one the window gets.
        if (layout()->hasHeightForWidth())
            setMinimumHeight(layout()->totalHeightForWidth(width()));
    });
}

void HomeView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    m_model.refresh();
}

QWidget* HomeView::makeHeader()
{
    auto* header = new QWidget(this);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(12);
    row->addWidget(new MorvikMark(30, header), 0, Qt::AlignVCenter);
    auto* titles = new QVBoxLayout;
    titles->setSpacing(0);
    titles->addWidget(
        new ThemedLabel(QStringLiteral("tavrin"), 22, QFont::Medium, Theme::Role::Foreground, header));
    titles->addWidget(new ThemedLabel(QStringLiteral("From question to quick action."), bodySize,
                                      QFont::Normal, Theme::Role::MutedForeground, header));
    row->addLayout(titles);
    row->addStretch(1);
    auto* refresh = new OutlineButtonStyle(QStringLiteral("Refresh"), false, header);
    connect(refresh, &QPushButton::clicked, &m_model, &HomeModel::refresh);
    row->addWidget(refresh, 0, Qt::AlignVCenter);
    return header;
}

QWidget* HomeView::makeStatus()
{
    auto* group = new GroupBox(this);
    group->setAccessibleName(QStringLiteral("Status"));
    group->content()->setSpacing(10);
    m_account = new StatusRow(QStringLiteral("accountRow"), group);
    m_hotKey = new StatusRow(QStringLiteral("hotKeyRow"), group);
    m_accessibility = new StatusRow(QStringLiteral("accessibilityRow"), group);
    m_voice = new StatusRow(QStringLiteral("voiceRow"), group);
    for (StatusRow* row : {m_account, m_hotKey, m_accessibility, m_voice})
        group->content()->addWidget(row);
    connect(m_account->button(), &QPushButton::clicked, this, &HomeView::signInRequested);
    connect(m_hotKey->button(), &QPushButton::clicked, this, &HomeView::changeShortcutRequested);
    connect(m_accessibility->button(), &QPushButton::clicked, &m_model, &HomeModel::grantAccessibility);
    connect(m_voice->button(), &QPushButton::clicked, &m_model, &HomeModel::allowVoice);
    return group;
}

QWidget* HomeView::makeAutoInsert()
{
    auto* group = new GroupBox(this);
    auto* row = new QHBoxLayout;
    row->setSpacing(12);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    auto* title = new ThemedLabel(QStringLiteral("Auto-insert answers"), bodySize, QFont::Medium,
                                  Theme::Role::Foreground, group);
    auto* caption =
        new ThemedLabel(QStringLiteral("Paste the answer into your app as soon as it's ready, without "
                                       "pressing Insert. Also in the panel's top bar."),
                        captionSize, QFont::Normal, Theme::Role::MutedForeground, group);
    caption->setWordWrap(true);
    texts->addWidget(title);
    texts->addWidget(caption);
    row->addLayout(texts, 1);
    m_autoInsert = new ThemedSwitch(title->text(), group);
    m_autoInsert->setChecked(Preferences::autoInsert());
    title->setBuddy(m_autoInsert);
    // The preference announces the change, so the panel's checkbox and the status menu follow at once.
    connect(m_autoInsert, &QAbstractButton::toggled, this, [](bool on) {
        if (on != Preferences::autoInsert())
            Preferences::setAutoInsert(on);
    });
    row->addWidget(m_autoInsert, 0, Qt::AlignVCenter);
    group->content()->addLayout(row);
    return group;
}

QWidget* HomeView::makeTest()
{
    auto* box = new QWidget(this);
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    auto* title =
        new ThemedLabel(QStringLiteral("Try it"), bodySize, QFont::Medium, Theme::Role::Foreground, box);
    column->addWidget(title);
    auto* group = new GroupBox(box);
    group->setAccessibleName(title->text());
    group->content()->setSpacing(8);
    auto* ask = new QHBoxLayout;
    ask->setSpacing(8);
    m_testInput = new RoundedField(QStringLiteral("e.g. make this polite: send me the file now"), group);
    m_testInput->setAccessibleName(QStringLiteral("Request to try"));
    connect(m_testInput, &QLineEdit::textEdited, &m_model, &HomeModel::setTestInput);
    connect(m_testInput, &QLineEdit::returnPressed, &m_model, &HomeModel::runTest);
    ask->addWidget(m_testInput, 1);
    m_ask = new PrimaryButtonStyle(QStringLiteral("Ask"), group);
    m_ask->setAccessibleName(QStringLiteral("Ask"));
    connect(m_ask, &QPushButton::clicked, &m_model, &HomeModel::runTest);
    ask->addWidget(m_ask);
    group->content()->addLayout(ask);
    m_testOutput = new ThemedLabel(QString(), calloutSize, QFont::Normal, Theme::Role::Foreground, group);
    m_testOutput->setObjectName(QStringLiteral("testOutput"));
    m_testOutput->setWordWrap(true);
    m_testOutput->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_testOutput->setTextFormat(Qt::PlainText);
    group->content()->addWidget(m_testOutput);
    m_instructions =
        new ThemedLabel(QString(), captionSize, QFont::Normal, Theme::Role::MutedForeground, group);
    m_instructions->setWordWrap(true);
    group->content()->addWidget(m_instructions);
    column->addWidget(group);
    return box;
}

QWidget* HomeView::makeFooter()
{
    auto* footer = new QWidget(this);
    auto* row = new QHBoxLayout(footer);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(8);
    m_openPanel = new PrimaryButtonStyle(QString(), footer);
    connect(m_openPanel, &QPushButton::clicked, this, &HomeView::askRequested);
    m_addPhone = new OutlineButtonStyle(QStringLiteral("Add iPhone…"), false, footer);
    connect(m_addPhone, &QPushButton::clicked, this, &HomeView::pairRequested);
    auto* settings = new OutlineButtonStyle(QStringLiteral("Web settings…"), false, footer);
    connect(settings, &QPushButton::clicked, this, &HomeView::settingsRequested);
    m_signOut = new OutlineButtonStyle(QStringLiteral("Sign out"), false, footer);
    connect(m_signOut, &QPushButton::clicked, this, &HomeView::signOutRequested);
    auto* quit = new OutlineButtonStyle(QStringLiteral("Quit"), false, footer);
    connect(quit, &QPushButton::clicked, this, &HomeView::quitRequested);
    row->addWidget(m_openPanel);
    row->addWidget(m_addPhone);
    row->addWidget(settings);
    row->addStretch(1);
    row->addWidget(m_signOut);
    row->addWidget(quit);
    return footer;
}

void HomeView::localize()
{
    m_openPanel->setText(PlatformWords::localize(QStringLiteral("Open AI panel (⌥Space)")));
    m_instructions->setText(PlatformWords::localize(QStringLiteral(
        "In any app: select text (optional), press ⌥Space, type what you want, ⏎ to ask, ⏎ to insert. "
        "Copied a message? Press ⌥⇧Space, then ⏎ to draft a reply.")));
    showStatus();
}

void HomeView::showStatus()
{
    const bool signedIn = m_model.hasConfig() && m_model.serverOK();
    m_account->setState(QStringLiteral("Account"), m_model.serverOK(), m_model.server(),
                        signedIn ? QString() : QStringLiteral("Sign in…"));
    m_hotKey->setState(PlatformWords::localize(QStringLiteral("Hotkey ⌥Space")), m_model.hotKeyOK(),
                       m_model.hotKeyOK()
                           ? QStringLiteral("Tap to type · hold to talk")
                           : QStringLiteral("Taken by another app — quit it or change the shortcut"),
                       QStringLiteral("Change…"));
    QString accessibilityDetail = m_model.accessibility()
                                      ? QStringLiteral("Can read your selection and paste")
                                      : QStringLiteral("Needed to read selected text and paste the answer");
    if (!m_model.accessibilityNote().isEmpty())
        accessibilityDetail += QLatin1Char('\n') + m_model.accessibilityNote();
    m_accessibility->setState(QStringLiteral("Accessibility"), m_model.accessibility(), accessibilityDetail,
                              m_model.accessibility() ? QString() : QStringLiteral("Grant…"));
    const bool voice = m_model.microphone() && m_model.speech();
    m_voice->setState(QStringLiteral("Microphone & Speech"), voice,
                      PlatformWords::localize(m_model.voiceDetail()),
                      voice ? QString() : QStringLiteral("Allow…"));
    fitWindow();
}

void HomeView::showTest()
{
    if (m_testInput->text() != m_model.testInput())
        m_testInput->setText(m_model.testInput());
    m_ask->setText(m_model.testing() ? QStringLiteral("…") : QStringLiteral("Ask"));
    m_ask->setEnabled(!m_model.testing() && !m_model.testInput().isEmpty());
    m_testOutput->setText(m_model.testOutput());
    m_testOutput->setVisible(!m_model.testOutput().isEmpty());
    fitWindow();
}

void HomeView::showAccountActions()
{
    m_addPhone->setEnabled(m_model.hasConfig());
    m_signOut->setVisible(m_model.hasConfig());
    fitWindow();
}
