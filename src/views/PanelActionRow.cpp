#include "views/PanelActionRow.h"

#include "config/Preferences.h"
#include "session/Session.h"
#include "views/ButtonStyles.h"
#include "views/PanelParts.h"
#include "views/PlatformWords.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>

PanelActionRow::PanelActionRow(Session& session, QWidget* parent) : QWidget(parent), m_session(session)
{
    auto* layout = PanelParts::rowLayout(this, PanelParts::innerSpacing);
    m_insert = new PrimaryButtonStyle(tr("Insert \u23CE"), this);
    connect(m_insert, &QAbstractButton::clicked, this, [this] { m_session.insert(); });
    m_copy = new OutlineButtonStyle(tr("Copy"), false, this);
    connect(m_copy, &QAbstractButton::clicked, this, [this] { m_session.copy(); });
    m_open = new OutlineButtonStyle(tr("Open"), false, this);
    connect(m_open, &QAbstractButton::clicked, this, [this] {
        if (m_session.link())
            QDesktopServices::openUrl(*m_session.link());
    });
    m_tryAgain = new OutlineButtonStyle(tr("Try again"), false, this);
    connect(m_tryAgain, &QAbstractButton::clicked, this, [this] { m_session.send(); });
    m_ask = new PrimaryButtonStyle(tr("Ask \u23CE"), this);
    connect(m_ask, &QAbstractButton::clicked, this, [this] { m_session.send(); });
    m_replyToCopied = new OutlineButtonStyle(tr("Reply to copied"), false, this);
    m_replyToCopied->setSymbol(Icons::Symbol::DocOnClipboard);
    connect(m_replyToCopied, &QAbstractButton::clicked, this, [this] {
        m_session.readClipboard(this, [this](const auto& text) { m_session.setCopied(text); });
    });
    m_route = PanelParts::captionLabel(this);
    auto* close = new IconButton(Icons::Symbol::XMark, 11, tr("Close"), this);
    connect(close, &QAbstractButton::clicked, this, [this] { m_session.close(); });
    for (QWidget* button : QList<QWidget*>{m_insert, m_copy, m_open, m_tryAgain, m_ask, m_replyToCopied}) {
        button->setFocusPolicy(Qt::TabFocus);
        layout->addWidget(button);
    }
    layout->addStretch(1);
    layout->addWidget(m_route);
    layout->addWidget(close);

    localize();
    connect(&Preferences::shared(), &Preferences::didChange, this, &PanelActionRow::localize);
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this] {
        if (m_session.phase().kind == Session::Phase::Typing) {
            readClipboard();
            refresh();
        }
    });
    connect(&m_session, &Session::phaseChanged, this, &PanelActionRow::phaseChanged);
    phaseChanged();
}

void PanelActionRow::refresh()
{
    using Kind = Session::Phase::Kind;
    const Kind phase = m_session.phase().kind;
    const bool answer = phase == Kind::Answer;
    const bool typing = phase == Kind::Typing;
    const bool copied = m_session.copied().has_value();
    const bool requestEmpty = m_session.request().isEmpty();
    m_insert->setVisible(answer);
    m_insert->setShortcut(answer && m_session.adjustText().isEmpty() ? QKeySequence(Qt::Key_Return)
                                                                     : QKeySequence());
    m_copy->setVisible(answer);
    m_open->setVisible(answer && m_session.link().has_value());
    m_tryAgain->setVisible(answer);
    m_ask->setVisible(typing);
    m_ask->setText(copied && requestEmpty ? tr("Reply \u23CE") : tr("Ask \u23CE"));
    m_ask->updateGeometry();
    m_ask->setEnabled(!requestEmpty || copied);
    m_replyToCopied->setVisible(typing && !copied && m_clipboardHasText);
    m_route->setText(m_session.routeLabel());
    m_route->setVisible(!m_session.routeLabel().isEmpty());
}

void PanelActionRow::phaseChanged()
{
    const int phase = m_session.phase().kind;
    if (phase == Session::Phase::Typing && m_lastPhase != Session::Phase::Typing)
        readClipboard();
    m_lastPhase = phase;
}

void PanelActionRow::readClipboard()
{
    m_session.readClipboard(this, [this](const std::optional<QString>& text) {
        m_clipboardHasText = text.has_value();
        refresh();
    });
}

void PanelActionRow::localize()
{
    m_replyToCopied->setToolTip(PlatformWords::localize(
        tr("Use the text on your clipboard as the message to reply to (\u2325\u21E7Space)")));
}
