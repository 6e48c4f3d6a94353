#include "views/PanelView.h"

#include "config/Preferences.h"
#include "session/Session.h"
#include "views/AnswerText.h"
#include "views/ButtonStyles.h"
#include "views/PanelHeader.h"
#include "views/PanelParts.h"
#include "views/PanelReplyingRow.h"
#include "views/PlatformWords.h"
#include "views/Theme.h"
#include "views/WindowParts.h"

#include <QAbstractTextDocumentLayout>
#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QShortcut>
#include <QTextBoundaryFinder>
#include <QTextEdit>
#include <QVBoxLayout>
#include <cmath>

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

constexpr int requestMaxLines = 4;

QString quoted(const QString& text)
{
    return QStringLiteral("\u201C") + text + QStringLiteral("\u201D");
}

// The request field: plain text, no frame, one to four lines high; Return submits and Shift+Return
// starts a new line.
class RequestField : public QTextEdit
{
public:
    RequestField(std::function<void()> submit, QWidget* parent)
        : QTextEdit(parent), m_submit(std::move(submit))
    {
        setFont(WindowParts::pixelFont(15));
        document()->setDefaultFont(font());
        document()->setDocumentMargin(0);
        setAcceptRichText(false);
        setFrameShape(QFrame::NoFrame);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setTabChangesFocus(true);
        viewport()->setAutoFillBackground(false);
        setAccessibleName(QObject::tr("Request"));
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        connect(document()->documentLayout(), &QAbstractTextDocumentLayout::documentSizeChanged, this,
                [this] { fitLines(); });
        fitLines();
    }

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
        if (enter && !(event->modifiers() & Qt::ShiftModifier)) {
            m_submit();
            return;
        }
        QTextEdit::keyPressEvent(event);
    }

private:
    void fitLines()
    {
        const int lineHeight = QFontMetrics(font()).lineSpacing();
        const int textHeight = int(std::ceil(document()->documentLayout()->documentSize().height()));
        const bool overflows = textHeight > requestMaxLines * lineHeight;
        setVerticalScrollBarPolicy(overflows ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
        setFixedHeight(qBound(lineHeight, textHeight, requestMaxLines * lineHeight) + 2);
    }

    std::function<void()> m_submit;
};

} // namespace

PanelView::PanelView(Session& session, QWidget* parent) : QWidget(parent), m_session(session)
{
    setFixedWidth(panelWidth);
    setFocusPolicy(Qt::ClickFocus);
    setAttribute(Qt::WA_TranslucentBackground);
    setAccessibleName(QStringLiteral("Tavrin"));
    // Created top to bottom, so that Tab and screen readers meet the rows in the order they show.
    m_header = new PanelHeader(this);
    m_replying = new PanelReplyingRow(session, this);
    m_selection = PanelParts::wrappedLabel(11, QFont::Normal, true, this);
    QWidget* requestRows = buildRequestRows();
    m_answer = new AnswerText(this);
    m_error = PanelParts::wrappedLabel(12, QFont::Normal, false, this);
    QWidget* adjustRow = buildAdjustRow();
    QWidget* footer = buildFooter();
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(padding, padding, padding, padding);
    stack->setSpacing(rowSpacing);
    for (QWidget* row : {static_cast<QWidget*>(m_header), static_cast<QWidget*>(m_replying),
                         static_cast<QWidget*>(m_selection), requestRows, static_cast<QWidget*>(m_answer),
                         static_cast<QWidget*>(m_error), adjustRow, footer})
        stack->addWidget(row);

    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    escape->setContext(Qt::WindowShortcut);
    connect(escape, &QShortcut::activated, this, [this] { m_session.close(); });
    connect(&Preferences::shared(), &Preferences::didChange, this, &PanelView::localize);
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this] {
        if (m_session.phase().kind == Session::Phase::Typing) {
            readClipboard();
            refreshFooter();
        }
    });
    Theme::follow(this);
    connect(&Theme::Watcher::shared(), &Theme::Watcher::appearanceChanged, this, &PanelView::applyTheme);

    connectSession();
    m_answer->replace(m_session.answer());
    applyTheme();
    localize();
    phaseChanged();
}

QWidget* PanelView::buildRequestRows()
{
    auto* rows = new QWidget(this);
    auto* layout = new QVBoxLayout(rows);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_listening = PanelParts::wrappedLabel(14, QFont::Normal, false, rows);
    m_requestField = new RequestField([this] { m_session.send(); }, rows);
    connect(m_requestField, &QTextEdit::textChanged, this,
            [this] { m_session.setRequest(m_requestField->toPlainText()); });
    m_sentRequest = PanelParts::wrappedLabel(12, QFont::Normal, false, rows);
    layout->addWidget(m_listening);
    layout->addWidget(m_requestField);
    layout->addWidget(m_sentRequest);
    return rows;
}

QWidget* PanelView::buildAdjustRow()
{
    m_adjustRow = new QWidget(this);
    auto* layout = PanelParts::rowLayout(m_adjustRow, PanelParts::innerSpacing);
    m_shorter = new OutlineButtonStyle(tr("Shorter"), false, m_adjustRow);
    m_shorter->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Minus));
    connect(m_shorter, &QAbstractButton::clicked, this, [this] { m_session.refine(shorterInstruction); });
    m_longer = new OutlineButtonStyle(tr("Longer"), false, m_adjustRow);
    m_longer->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Equal));
    connect(m_longer, &QAbstractButton::clicked, this, [this] { m_session.refine(longerInstruction); });
    auto* box = new OutlinedBox(m_adjustRow);
    auto* boxLayout = PanelParts::rowLayout(box, 0);
    boxLayout->setContentsMargins(8, 0, 8, 0);
    m_adjustField = new QLineEdit(box);
    m_adjustField->setFrame(false);
    m_adjustField->setFont(WindowParts::pixelFont(13));
    m_adjustField->setPlaceholderText(tr("Adjust\u2026 e.g. more formal, in Cantonese"));
    // The field is narrower than its hint beside the two buttons: the whole hint shows on hover.
    m_adjustField->setToolTip(m_adjustField->placeholderText());
    m_adjustField->setAccessibleName(tr("Adjust the answer"));
    m_adjustField->setAttribute(Qt::WA_MacShowFocusRect, false);
    // Only the background is the field's own; every other colour follows the panel's theme.
    QPalette clear;
    clear.setColor(QPalette::Base, Qt::transparent);
    m_adjustField->setPalette(clear);
    boxLayout->addWidget(m_adjustField);
    connect(m_adjustField, &QLineEdit::textEdited, this,
            [this](const QString& text) { m_session.setAdjustText(text); });
    connect(m_adjustField, &QLineEdit::returnPressed, this,
            [this] { m_session.refine(m_session.adjustText()); });
    layout->addWidget(m_shorter);
    layout->addWidget(m_longer);
    layout->addWidget(box, 1);
    return m_adjustRow;
}

QWidget* PanelView::buildFooter()
{
    m_footer = new QWidget(this);
    auto* layout = PanelParts::rowLayout(m_footer, PanelParts::innerSpacing);
    m_insert = new PrimaryButtonStyle(tr("Insert \u23CE"), m_footer);
    connect(m_insert, &QAbstractButton::clicked, this, [this] { m_session.insert(); });
    m_copy = new OutlineButtonStyle(tr("Copy"), false, m_footer);
    connect(m_copy, &QAbstractButton::clicked, this, [this] { m_session.copy(); });
    m_open = new OutlineButtonStyle(tr("Open"), false, m_footer);
    connect(m_open, &QAbstractButton::clicked, this, [this] {
        if (m_session.link())
            QDesktopServices::openUrl(*m_session.link());
    });
    m_tryAgain = new OutlineButtonStyle(tr("Try again"), false, m_footer);
    connect(m_tryAgain, &QAbstractButton::clicked, this, [this] { m_session.send(); });
    m_ask = new PrimaryButtonStyle(tr("Ask \u23CE"), m_footer);
    connect(m_ask, &QAbstractButton::clicked, this, [this] { m_session.send(); });
    m_replyToCopied = new OutlineButtonStyle(tr("Reply to copied"), false, m_footer);
    m_replyToCopied->setSymbol(Icons::Symbol::DocOnClipboard);
    connect(m_replyToCopied, &QAbstractButton::clicked, this, [this] {
        m_session.readClipboard(this, [this](const auto& text) { m_session.setCopied(text); });
    });
    m_routeLabel = PanelParts::captionLabel(m_footer);
    auto* close = new IconButton(Icons::Symbol::XMark, 11, tr("Close"), m_footer);
    connect(close, &QAbstractButton::clicked, this, [this] { m_session.close(); });
    for (QWidget* button : {static_cast<QWidget*>(m_insert), static_cast<QWidget*>(m_copy),
                            static_cast<QWidget*>(m_open), static_cast<QWidget*>(m_tryAgain),
                            static_cast<QWidget*>(m_ask), static_cast<QWidget*>(m_replyToCopied)}) {
        button->setFocusPolicy(Qt::TabFocus);
        layout->addWidget(button);
    }
    layout->addStretch(1);
    layout->addWidget(m_routeLabel);
    layout->addWidget(close);
    return m_footer;
}

void PanelView::connectSession()
{
    connect(&m_session, &Session::phaseChanged, this, &PanelView::phaseChanged);
    connect(&m_session, &Session::answerAppended, this, [this](const QString& appended) {
        m_answer->append(appended);
        m_appendArrived = true;
    });
    connect(&m_session, &Session::answerChanged, this, &PanelView::answerChanged);
    for (const auto changed :
         {&Session::requestChanged, &Session::routeLabelChanged, &Session::linkChanged,
          &Session::contextChanged, &Session::copiedChanged, &Session::adjustTextChanged})
        connect(&m_session, changed, this, &PanelView::refresh);
}

QString PanelView::preview(const QString& text, int limit)
{
    QTextBoundaryFinder characters(QTextBoundaryFinder::Grapheme, text);
    int count = 0;
    while (characters.toNextBoundary() != -1) {
        if (++count == limit) {
            const qsizetype end = characters.position();
            return end < text.size() ? text.left(end) + QStringLiteral("\u2026") : text;
        }
    }
    return text;
}

void PanelView::phaseChanged()
{
    const int phase = m_session.phase().kind;
    if (phase == Session::Phase::Typing && m_lastPhase != Session::Phase::Typing)
        readClipboard();
    m_lastPhase = phase;
    refresh();
    focusForPhase();
}

void PanelView::answerChanged()
{
    // A delta arrives as an append; anything else (a reset, a link's message) replaces the text.
    if (!m_appendArrived)
        m_answer->replace(m_session.answer());
    m_appendArrived = false;
    const bool show = !m_session.answer().isEmpty();
    if (show == m_answer->isVisibleTo(this))
        return;
    m_answer->setVisible(show);
    if (show)
        PanelParts::reveal(m_answer, 4);
}

void PanelView::readClipboard()
{
    m_session.readClipboard(this, [this](const std::optional<QString>& text) {
        m_clipboardHasText = text.has_value();
        refreshFooter();
    });
}

QString PanelView::title() const
{
    using Kind = Session::Phase::Kind;
    switch (m_session.phase().kind) {
    case Kind::Idle:
    case Kind::Typing:
        break;
    case Kind::Listening:
        return tr("Listening");
    case Kind::Thinking:
        return tr("Thinking");
    case Kind::Answer:
        return m_session.link() ? tr("Live link") : tr("Ready");
    case Kind::Error:
        return tr("Error");
    }
    return QStringLiteral("Tavrin");
}

void PanelView::refresh()
{
    using Kind = Session::Phase::Kind;
    const Session::Phase phase = m_session.phase();
    const QList<QWidget*> rows = {m_replying,    m_selection, m_listening, m_requestField,
                                  m_sentRequest, m_error,     m_adjustRow};
    QList<QWidget*> hidden;
    for (QWidget* row : rows)
        if (!row->isVisibleTo(this))
            hidden.append(row);

    m_header->showPhase(title(), phase.kind == Kind::Thinking || phase.kind == Kind::Listening);
    const FocusContext context = m_session.context();
    m_header->showApp(context.app ? context.app->name : QString());

    const std::optional<QString>& copied = m_session.copied();
    m_replying->setVisible(copied.has_value());
    if (copied)
        m_replying->showMessage(preview(*copied, copiedPreviewLength),
                                copied->size() > copiedPreviewLength ? *copied : QString());
    const bool hasSelection = context.selection && !context.selection->isEmpty();
    m_selection->setVisible(hasSelection);
    if (hasSelection)
        m_selection->setText(tr("Selected: ") + preview(*context.selection, selectionPreviewLength));

    const QString request = m_session.request();
    m_listening->setVisible(phase.kind == Kind::Listening);
    if (phase.kind == Kind::Listening)
        m_listening->setText(request.isEmpty()
                                 ? PlatformWords::localize(tr("Listening\u2026 release \u2325Space to send"))
                                 : quoted(request));
    m_listening->setForegroundRole(request.isEmpty() ? QPalette::PlaceholderText : QPalette::WindowText);
    m_requestField->setVisible(phase.kind == Kind::Typing);
    if (m_requestField->toPlainText() != request) {
        const QSignalBlocker quiet(m_requestField);
        m_requestField->setPlainText(request);
        m_requestField->moveCursor(QTextCursor::End);
    }
    m_requestField->setPlaceholderText(
        copied ? tr("How should I reply? \u23CE for a standard reply")
               : tr("Ask anything \u2014 e.g. \u201Creply yes, Thursday 3pm works\u201D"));
    const bool showSent = phase.kind != Kind::Typing && phase.kind != Kind::Listening && !request.isEmpty();
    m_sentRequest->setVisible(showSent);
    if (showSent)
        m_sentRequest->setText(quoted(request));

    m_answer->setVisible(!m_session.answer().isEmpty());
    m_error->setVisible(phase.kind == Kind::Error);
    m_error->setText(phase.message);
    m_adjustRow->setVisible(phase.kind == Kind::Answer && !m_session.link());
    if (m_adjustField->text() != m_session.adjustText())
        m_adjustField->setText(m_session.adjustText());
    refreshFooter();

    for (QWidget* row : hidden)
        if (row->isVisibleTo(this))
            PanelParts::reveal(row);
}

void PanelView::refreshFooter()
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
    m_routeLabel->setText(m_session.routeLabel());
    m_routeLabel->setVisible(!m_session.routeLabel().isEmpty());
}

void PanelView::localize()
{
    m_shorter->setToolTip(PlatformWords::localize(tr("Make it shorter (\u2318\u2212)")));
    m_longer->setToolTip(PlatformWords::localize(tr("Make it longer (\u2318=)")));
    m_replyToCopied->setToolTip(PlatformWords::localize(
        tr("Use the text on your clipboard as the message to reply to (\u2325\u21E7Space)")));
    // The transcript's hint names the shortcut in force.
    if (m_session.phase().kind == Session::Phase::Listening)
        refresh();
}

void PanelView::applyTheme()
{
    QPalette errorPalette = m_error->palette();
    errorPalette.setColor(QPalette::WindowText, Theme::destructive());
    m_error->setPalette(errorPalette);
    const QColor handle = Theme::mutedForeground();
    m_answer->verticalScrollBar()->setStyleSheet(
        QStringLiteral("QScrollBar:vertical { background: transparent; width: 8px; margin: 0; }"
                       "QScrollBar::handle:vertical { background: rgba(%1, %2, %3, 110); border-radius: 3px;"
                       " min-height: 24px; margin: 0 1px; }"
                       "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }"
                       "QScrollBar::add-page, QScrollBar::sub-page { background: none; }")
            .arg(handle.red())
            .arg(handle.green())
            .arg(handle.blue()));
    update();
}

void PanelView::focusForPhase()
{
    // Typing goes to the request field, and in the answer phase to the rework instruction, where an
    // empty Return still inserts. Elsewhere the panel itself holds focus, so that Return never
    // presses whichever button happened to come next.
    if (m_session.phase().kind == Session::Phase::Typing)
        m_requestField->setFocus(Qt::OtherFocusReason);
    else if (m_adjustRow->isVisibleTo(this))
        m_adjustField->setFocus(Qt::OtherFocusReason);
    else
        setFocus(Qt::OtherFocusReason);
}

void PanelView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    focusForPhase();
}

void PanelView::paintEvent(QPaintEvent*)
{
    PanelParts::paintRoundedBox(this, 14, Theme::card(), Theme::border());
}
