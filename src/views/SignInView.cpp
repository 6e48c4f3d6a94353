#include "views/SignInView.h"

#include "config/Preferences.h"
#include "views/ButtonStyles.h"
#include "views/MorvikMark.h"
#include "views/PlatformWords.h"
#include "views/SignInModel.h"
#include "views/WindowParts.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHideEvent>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

using WindowParts::bodySize;
using WindowParts::calloutSize;
using WindowParts::captionSize;

namespace {

void keepText(QLineEdit* field, const QString& text)
{
    if (field->text() != text)
        field->setText(text);
}

QFont monospaced(int pixelSize)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(pixelSize);
    return font;
}

} // namespace

SignInView::SignInView(SignInModel& model, QWidget* parent) : QWidget(parent), m_model(model)
{
    setFixedWidth(fixedWidth);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    m_column = new QWidget(this);
    outer->addWidget(m_column);
    auto* column = new QVBoxLayout(m_column);
    column->setContentsMargins(24, 24, 24, 24);
    column->setSpacing(16);
    column->addWidget(makeHeader());
    m_google = new OutlineButtonStyle(QStringLiteral("Continue with Google"), false, m_column);
    m_google->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(m_google, &QPushButton::clicked, &m_model, &SignInModel::google);
    column->addWidget(m_google);
    m_modes = new SegmentedPicker(
        {QStringLiteral("Password"), QStringLiteral("Email code"), QStringLiteral("Pairing code")},
        QStringLiteral("Sign-in method"), m_column);
    connect(m_modes, &SegmentedPicker::currentChanged, &m_model,
            [this](int index) { m_model.setMode(SignInModel::Mode(index)); });
    column->addWidget(m_modes);
    m_passwordFields = makePasswordFields();
    m_codeFields = makeCodeFields();
    m_pairingFields = makePairingFields();
    for (QWidget* fields : {m_passwordFields, m_codeFields, m_pairingFields})
        column->addWidget(fields);
    m_invite = makeInvite();
    column->addWidget(m_invite);
    m_message = new ThemedLabel(QString(), calloutSize, QFont::Normal, Theme::Role::Destructive, m_column);
    m_message->setObjectName(QStringLiteral("message"));
    m_message->setWordWrap(true);
    m_message->setTextInteractionFlags(Qt::TextSelectableByMouse);
    column->addWidget(m_message);
    column->addWidget(makeServer());
    m_spinner = new BusySpinner(this);
    Theme::follow(this);

    for (const auto changed :
         {&SignInModel::serverConfigChanged, &SignInModel::modeChanged, &SignInModel::codeSentChanged,
          &SignInModel::inviteTicketChanged, &SignInModel::busyChanged, &SignInModel::messageChanged,
          &SignInModel::emailChanged, &SignInModel::passwordChanged, &SignInModel::codeChanged,
          &SignInModel::inviteChanged, &SignInModel::serverChanged})
        connect(&m_model, changed, this, &SignInView::showState);
    connect(&Preferences::shared(), &Preferences::didChange, this, &SignInView::showState);
    showState();
}

QWidget* SignInView::makeHeader()
{
    auto* header = new QWidget(m_column);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(12);
    row->addWidget(new MorvikMark(30, header), 0, Qt::AlignVCenter);
    auto* titles = new QVBoxLayout;
    titles->setSpacing(2);
    titles->addWidget(new ThemedLabel(QStringLiteral("Sign in to Tavrin"), 20, QFont::DemiBold,
                                      Theme::Role::Foreground, header));
    auto* subtitle =
        new ThemedLabel(QStringLiteral("Your memory, history and connected apps follow you to every device."),
                        calloutSize, QFont::Normal, Theme::Role::MutedForeground, header);
    subtitle->setWordWrap(true);
    titles->addWidget(subtitle);
    row->addLayout(titles, 1);
    return header;
}

QLineEdit* SignInView::emailField(QWidget* parent)
{
    auto* field = new RoundedField(QStringLiteral("Email"), parent);
    field->setInputMethodHints(Qt::ImhEmailCharactersOnly | Qt::ImhNoAutoUppercase);
    connect(field, &QLineEdit::textEdited, &m_model, &SignInModel::setEmail);
    connect(field, &QLineEdit::returnPressed, this, &SignInView::pressDefault);
    m_emailFields.append(field);
    return field;
}

QWidget* SignInView::makePasswordFields()
{
    auto* fields = new QWidget(m_column);
    auto* column = new QVBoxLayout(fields);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(10);
    column->addWidget(emailField(fields));
    m_password = new RoundedField(QStringLiteral("Password"), fields);
    m_password->setEchoMode(QLineEdit::Password);
    connect(m_password, &QLineEdit::textEdited, &m_model, &SignInModel::setPassword);
    connect(m_password, &QLineEdit::returnPressed, &m_model, [this] {
        if (m_model.canLogIn())
            m_model.login();
    });
    column->addWidget(m_password);
    m_signIn = new PrimaryButtonStyle(QStringLiteral("Sign in"), fields);
    connect(m_signIn, &QPushButton::clicked, &m_model, &SignInModel::login);
    column->addWidget(m_signIn);
    return fields;
}

QWidget* SignInView::makeCodeFields()
{
    auto* fields = new QWidget(m_column);
    auto* column = new QVBoxLayout(fields);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(10);
    column->addWidget(emailField(fields));
    m_emailCode = new RoundedField(QStringLiteral("6-digit code from the email"), fields);
    m_emailCode->setInputMethodHints(Qt::ImhDigitsOnly);
    connect(m_emailCode, &QLineEdit::textEdited, &m_model, &SignInModel::setCode);
    connect(m_emailCode, &QLineEdit::returnPressed, this, &SignInView::pressDefault);
    column->addWidget(m_emailCode);
    m_submitCode = new PrimaryButtonStyle(QStringLiteral("Sign in"), fields);
    connect(m_submitCode, &QPushButton::clicked, &m_model,
            [this] { m_model.submitCode(m_model.verifyCode()); });
    m_sendCode = new PrimaryButtonStyle(QStringLiteral("Email me a code"), fields);
    connect(m_sendCode, &QPushButton::clicked, &m_model, &SignInModel::sendCode);
    column->addWidget(m_submitCode);
    column->addWidget(m_sendCode);
    return fields;
}

QWidget* SignInView::makePairingFields()
{
    auto* fields = new QWidget(m_column);
    auto* column = new QVBoxLayout(fields);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(10);
    auto* help =
        new ThemedLabel(QStringLiteral("On your iPhone open Settings › Account › Devices › Add a device (or "
                                       "Devices on the web), then type the code."),
                        calloutSize, QFont::Normal, Theme::Role::MutedForeground, fields);
    help->setWordWrap(true);
    column->addWidget(help);
    m_pairingCode = new RoundedField(QStringLiteral("ABCD2345"), fields);
    m_pairingCode->setAccessibleName(QStringLiteral("Pairing code"));
    m_pairingCode->setFont(monospaced(bodySize));
    connect(m_pairingCode, &QLineEdit::textEdited, &m_model, &SignInModel::setCode);
    connect(m_pairingCode, &QLineEdit::returnPressed, this, &SignInView::pressDefault);
    column->addWidget(m_pairingCode);
    m_pair = new PrimaryButtonStyle(QString(), fields);
    connect(m_pair, &QPushButton::clicked, &m_model, &SignInModel::pair);
    column->addWidget(m_pair);
    return fields;
}

GroupBox* SignInView::makeInvite()
{
    auto* group = new GroupBox(m_column);
    group->setAccessibleName(QStringLiteral("Invite"));
    group->content()->setSpacing(8);
    auto* text =
        new ThemedLabel(QStringLiteral("New to Tavrin? Enter your invite code to create the account."),
                        calloutSize, QFont::Normal, Theme::Role::Foreground, group);
    text->setWordWrap(true);
    group->content()->addWidget(text);
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    m_inviteCode = new RoundedField(QStringLiteral("MRV-ABCD-EFGH"), group);
    m_inviteCode->setAccessibleName(QStringLiteral("Invite code"));
    connect(m_inviteCode, &QLineEdit::textEdited, &m_model, &SignInModel::setInvite);
    connect(m_inviteCode, &QLineEdit::returnPressed, &m_model, [this] {
        if (m_model.canCreateAccount())
            m_model.completeSocial();
    });
    row->addWidget(m_inviteCode, 1);
    m_createAccount = new PrimaryButtonStyle(QStringLiteral("Create account"), group);
    connect(m_createAccount, &QPushButton::clicked, &m_model, &SignInModel::completeSocial);
    row->addWidget(m_createAccount);
    group->content()->addLayout(row);
    return group;
}

QWidget* SignInView::makeServer()
{
    auto* box = new QWidget(m_column);
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    m_serverToggle = new QToolButton(box);
    m_serverToggle->setText(QStringLiteral("Server"));
    m_serverToggle->setAccessibleName(QStringLiteral("Server"));
    m_serverToggle->setCheckable(true);
    m_serverToggle->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_serverToggle->setArrowType(Qt::RightArrow);
    m_serverToggle->setAutoRaise(true);
    m_serverToggle->setFont(WindowParts::pixelFont(captionSize));
    m_serverToggle->setCursor(Qt::PointingHandCursor);
    column->addWidget(m_serverToggle, 0, Qt::AlignLeft);
    m_server = new RoundedField(SignInModel::defaultServerURL, box);
    m_server->setAccessibleName(QStringLiteral("Server address"));
    m_server->setFont(monospaced(captionSize));
    m_server->setVisible(false);
    connect(m_server, &QLineEdit::textEdited, &m_model, &SignInModel::setServer);
    column->addWidget(m_server);
    connect(m_serverToggle, &QToolButton::toggled, this, [this](bool open) {
        m_serverToggle->setArrowType(open ? Qt::DownArrow : Qt::RightArrow);
        m_server->setVisible(open);
        fitWindow();
    });
    const auto colour = [this] {
        QPalette colours = m_serverToggle->palette();
        colours.setColor(QPalette::ButtonText, Theme::mutedForeground());
        m_serverToggle->setPalette(colours);
    };
    colour();
    connect(&Theme::Watcher::shared(), &Theme::Watcher::appearanceChanged, m_serverToggle, colour);
    return box;
}

void SignInView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    m_model.appeared();
}

void SignInView::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    // Closing the window is how a browser sign-in is given up: silently, as a cancelled browser does.
    if (!event->spontaneous())
        m_model.closed();
}

void SignInView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    m_spinner->move((width() - m_spinner->width()) / 2, (height() - m_spinner->height()) / 2);
}

void SignInView::showState()
{
    const SignInModel::Mode mode = m_model.mode();
    m_google->setVisible(m_model.offersGoogle());
    m_modes->setSegmentVisible(int(SignInModel::Mode::Code), m_model.offersEmailCode());
    m_modes->setCurrent(int(mode));
    m_passwordFields->setVisible(mode == SignInModel::Mode::Password);
    m_codeFields->setVisible(mode == SignInModel::Mode::Code);
    m_pairingFields->setVisible(mode == SignInModel::Mode::Pairing);
    m_emailCode->setVisible(m_model.codeSent());
    m_submitCode->setVisible(m_model.codeSent());
    m_sendCode->setVisible(!m_model.codeSent());
    m_invite->setVisible(m_model.needsInvite());
    m_message->setText(m_model.message());
    m_message->setVisible(m_model.hasMessage());
    m_pair->setText(PlatformWords::localize(QStringLiteral("Pair this Mac")));
    for (QLineEdit* field : m_emailFields)
        keepText(field, m_model.email());
    keepText(m_password, m_model.password());
    keepText(m_emailCode, m_model.code());
    keepText(m_pairingCode, m_model.code());
    keepText(m_inviteCode, m_model.invite());
    keepText(m_server, m_model.server());
    m_column->setEnabled(!m_model.busy());
    m_spinner->setVisible(m_model.busy());
    m_spinner->raise();
    showEnabling();
    fitWindow();
}

void SignInView::showEnabling()
{
    m_signIn->setEnabled(m_model.canLogIn());
    m_sendCode->setEnabled(m_model.canSendCode());
    m_submitCode->setEnabled(m_model.canSubmitCode());
    m_pair->setEnabled(m_model.canPair());
    m_createAccount->setEnabled(m_model.canCreateAccount());
}

void SignInView::pressDefault()
{
    for (PrimaryButtonStyle* button : {m_signIn, m_sendCode, m_submitCode, m_pair}) {
        if (button->isVisibleTo(this) && button->isEnabled()) {
            button->click();
            return;
        }
    }
}

void SignInView::fitWindow()
{
    QTimer::singleShot(0, this, [this] { window()->adjustSize(); });
}
