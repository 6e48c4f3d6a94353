#include "views/PanelView.h"

#include "config/Preferences.h"
#include "session/Session.h"
#include "views/AnswerText.h"
#include "views/ButtonStyles.h"
#include "views/Icons.h"
#include "views/MorvikMark.h"
#include "views/PlatformWords.h"
#include "views/Theme.h"

#include <QAbstractTextDocumentLayout>
#include <QClipboard>
#include <QDesktopServices>
#include <QGraphicsEffect>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QProgressBar>
#include <QScrollBar>
#include <QShortcut>
#include <QTextBoundaryFinder>
#include <QTextEdit>
#include <QTextLayout>
#include <QVBoxLayout>
#include <QVariantAnimation>
#include <cmath>

namespace {

const QString ellipsis = QStringLiteral("\u2026");
const QString openQuote = QStringLiteral("\u201C");
const QString closeQuote = QStringLiteral("\u201D");
const QString shorterInstruction = QStringLiteral("make it shorter");
const QString longerInstruction = QStringLiteral("make it longer and more detailed");

constexpr int contentWidth = PanelView::panelWidth - 2 * PanelView::padding;
constexpr int markSize = 18;
constexpr int replyingPadding = 8;
constexpr int replyingSymbol = 11;
constexpr int replyingClose = 9;
constexpr int innerSpacing = 6;
// The close button sits closer to the box's right edge than the padding, as its own hover area
// pads it by 4 on each side.
constexpr int replyingRightPadding = replyingPadding - 4;
constexpr int replyingCloseWidth = replyingClose + 8;
constexpr int replyingTextWidth = contentWidth - replyingPadding - replyingSymbol - innerSpacing -
                                  innerSpacing - replyingCloseWidth - replyingRightPadding;
constexpr int replyingMaxLines = 3;
constexpr int requestMaxLines = 4;

QFont pixelFont(int size, QFont::Weight weight = QFont::Normal)
{
    QFont font;
    font.setPixelSize(size);
    font.setWeight(weight);
    return font;
}

// A wrapped text row; secondary rows are drawn in the muted colour.
QLabel* makeLabel(int size, QFont::Weight weight, bool secondary, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setFont(pixelFont(size, weight));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    if (secondary)
        label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

// The text as it fits in `lines` lines of the given width, its last line ended by "…" when cut.
QString clampToLines(const QString& text, const QFont& font, int width, int lines)
{
    QTextLayout layout(text, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    int kept = 0;
    int lastStart = 0;
    int count = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        if (++count > lines)
            break;
        lastStart = line.textStart();
        kept = line.textStart() + line.textLength();
    }
    layout.endLayout();
    if (count <= lines)
        return text;
    const QFontMetrics metrics(font);
    QString last = text.mid(lastStart, kept - lastStart).trimmed();
    last = metrics.elidedText(last + ellipsis, Qt::ElideRight, width);
    if (!last.endsWith(ellipsis))
        last += ellipsis;
    return text.left(lastStart) + last;
}

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

// Draws a widget faded and shifted while it appears.
class AppearEffect : public QGraphicsEffect
{
public:
    AppearEffect(qreal offset, QObject* parent) : QGraphicsEffect(parent), m_offset(offset) {}

    void setProgress(qreal progress)
    {
        m_progress = progress;
        update();
    }

protected:
    void draw(QPainter* painter) override
    {
        painter->save();
        painter->setOpacity(painter->opacity() * qBound(0.0, m_progress, 1.0));
        painter->translate(0, m_offset * (1.0 - m_progress));
        drawSource(painter);
        painter->restore();
    }

private:
    qreal m_offset;
    qreal m_progress = 0;
};

// The request field: plain text, no frame, one to four lines high; Return submits and Shift+Return
// starts a new line.
class RequestField : public QTextEdit
{
public:
    RequestField(std::function<void()> submit, QWidget* parent)
        : QTextEdit(parent), m_submit(std::move(submit))
    {
        setFont(pixelFont(15));
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

// The adjust field's rounded, outlined box.
class OutlinedBox : public QWidget
{
public:
    explicit OutlinedBox(QWidget* parent) : QWidget(parent) { setFixedHeight(StyledButton::faceHeight); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QWidget* field = focusWidget();
        const bool focused = field && field->hasFocus();
        painter.setPen(QPen(focused ? Theme::mutedForeground() : Theme::border(), 1));
        painter.setBrush(Theme::card());
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), StyledButton::cornerRadius,
                                StyledButton::cornerRadius);
    }
};

// The replying box: a rounded, muted background behind the copied message.
class MutedBox : public QWidget
{
public:
    explicit MutedBox(QWidget* parent) : QWidget(parent) {}

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Theme::muted());
        painter.drawRoundedRect(QRectF(rect()), 8, 8);
    }
};

QHBoxLayout* row(QWidget* owner, int spacing)
{
    auto* layout = new QHBoxLayout(owner);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    return layout;
}

} // namespace

PanelView::PanelView(Session& session, QWidget* parent) : QWidget(parent), m_session(session)
{
    setFixedWidth(panelWidth);
    setFocusPolicy(Qt::ClickFocus);
    setAttribute(Qt::WA_TranslucentBackground);
    setAccessibleName(QStringLiteral("Tavrin"));
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(padding, padding, padding, padding);
    stack->setSpacing(rowSpacing);
    stack->addWidget(buildHeader());
    stack->addWidget(buildReplying());
    m_selection = makeLabel(11, QFont::Normal, true, this);
    stack->addWidget(m_selection);
    stack->addWidget(buildRequestRows());
    m_answer = new AnswerText(this);
    stack->addWidget(m_answer);
    m_error = makeLabel(12, QFont::Normal, false, this);
    stack->addWidget(m_error);
    stack->addWidget(buildAdjustRow());
    stack->addWidget(buildFooter());

    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    escape->setContext(Qt::WindowShortcut);
    connect(escape, &QShortcut::activated, this, [this] { m_session.close(); });
    connect(&Preferences::shared(), &Preferences::didChange, this, [this] {
        m_autoInsert->setChecked(Preferences::autoInsert());
        localize();
    });
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
    m_autoInsert->setChecked(Preferences::autoInsert());
    applyTheme();
    localize();
    phaseChanged();
}

QWidget* PanelView::buildHeader()
{
    auto* header = new QWidget(this);
    auto* layout = row(header, 8);
    auto* mark = new MorvikMark(markSize, header);
    mark->setAccessibleName(QStringLiteral("Tavrin"));
    m_title = new QLabel(header);
    m_title->setFont(pixelFont(13, QFont::Medium));
    m_busy = new BusyIndicator(header);
    m_appName = new QLabel(header);
    m_appName->setFont(pixelFont(11));
    m_appName->setForegroundRole(QPalette::PlaceholderText);
    m_autoInsert = new ThemedCheckBox(tr("Auto-insert"), 11, header);
    m_autoInsert->setToolTip(tr("Paste answers as soon as they're ready, without pressing Insert"));
    connect(m_autoInsert, &QCheckBox::clicked, this,
            [](bool checked) { Preferences::setAutoInsert(checked); });
    layout->addWidget(mark);
    layout->addWidget(m_title);
    layout->addWidget(m_busy);
    layout->addStretch(1);
    layout->addWidget(m_appName);
    layout->addSpacing(4);
    layout->addWidget(m_autoInsert);
    return header;
}

QWidget* PanelView::buildReplying()
{
    m_replying = new MutedBox(this);
    auto* layout = row(m_replying, innerSpacing);
    layout->setContentsMargins(replyingPadding, replyingPadding, replyingRightPadding, replyingPadding);
    m_replyingSymbol = new QLabel(m_replying);
    m_replyingSymbol->setAccessibleName(tr("Clipboard"));
    m_replyingSymbol->setAlignment(Qt::AlignTop);
    m_replyingSymbol->setContentsMargins(0, 1, 0, 0);
    m_replyingText = makeLabel(11, QFont::Normal, true, m_replying);
    m_replyingText->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    auto* drop =
        new IconButton(Icons::Symbol::XMark, replyingClose, tr("Don't use the clipboard"), m_replying);
    connect(drop, &QAbstractButton::clicked, this, [this] { m_session.setCopied(std::nullopt); });
    layout->addWidget(m_replyingSymbol, 0, Qt::AlignTop);
    layout->addWidget(m_replyingText, 1);
    layout->addWidget(drop, 0, Qt::AlignTop);
    return m_replying;
}

QWidget* PanelView::buildRequestRows()
{
    auto* rows = new QWidget(this);
    auto* layout = new QVBoxLayout(rows);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_listening = makeLabel(14, QFont::Normal, false, rows);
    m_requestField = new RequestField([this] { m_session.send(); }, rows);
    connect(m_requestField, &QTextEdit::textChanged, this,
            [this] { m_session.setRequest(m_requestField->toPlainText()); });
    m_sentRequest = makeLabel(12, QFont::Normal, false, rows);
    layout->addWidget(m_listening);
    layout->addWidget(m_requestField);
    layout->addWidget(m_sentRequest);
    return rows;
}

QWidget* PanelView::buildAdjustRow()
{
    m_adjustRow = new QWidget(this);
    auto* layout = row(m_adjustRow, innerSpacing);
    m_shorter = new OutlineButtonStyle(tr("Shorter"), false, m_adjustRow);
    m_shorter->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Minus));
    connect(m_shorter, &QAbstractButton::clicked, this, [this] { m_session.refine(shorterInstruction); });
    m_longer = new OutlineButtonStyle(tr("Longer"), false, m_adjustRow);
    m_longer->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Equal));
    connect(m_longer, &QAbstractButton::clicked, this, [this] { m_session.refine(longerInstruction); });
    auto* box = new OutlinedBox(m_adjustRow);
    auto* boxLayout = row(box, 0);
    boxLayout->setContentsMargins(8, 0, 8, 0);
    m_adjustField = new QLineEdit(box);
    m_adjustField->setFrame(false);
    m_adjustField->setFont(pixelFont(13));
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
    auto* layout = row(m_footer, innerSpacing);
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
    m_routeLabel = new QLabel(m_footer);
    m_routeLabel->setFont(pixelFont(11));
    m_routeLabel->setForegroundRole(QPalette::PlaceholderText);
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
            return end < text.size() ? text.left(end) + ellipsis : text;
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
        reveal(m_answer, 4);
}

void PanelView::readClipboard()
{
    m_session.readClipboard(this, [this](const std::optional<QString>& text) {
        m_clipboardHasText = text.has_value();
        refreshFooter();
    });
}

void PanelView::refresh()
{
    using Kind = Session::Phase::Kind;
    const Session::Phase phase = m_session.phase();
    const QList<QWidget*> rows = {m_replying,    m_selection, m_listening, m_requestField,
                                  m_sentRequest, m_error,     m_adjustRow, m_footer};
    QList<bool> wasVisible;
    for (QWidget* widget : rows)
        wasVisible.append(widget->isVisibleTo(this));

    const bool hasLink = m_session.link().has_value();
    switch (phase.kind) {
    case Kind::Idle:
    case Kind::Typing:
        m_title->setText(QStringLiteral("Tavrin"));
        break;
    case Kind::Listening:
        m_title->setText(tr("Listening"));
        break;
    case Kind::Thinking:
        m_title->setText(tr("Thinking"));
        break;
    case Kind::Answer:
        m_title->setText(hasLink ? tr("Live link") : tr("Ready"));
        break;
    case Kind::Error:
        m_title->setText(tr("Error"));
        break;
    }
    m_busy->setVisible(phase.kind == Kind::Thinking || phase.kind == Kind::Listening);
    const FocusContext context = m_session.context();
    const QString appName = context.app ? context.app->name : QString();
    m_appName->setText(appName);
    m_appName->setVisible(!appName.isEmpty());

    const std::optional<QString>& copied = m_session.copied();
    m_replying->setVisible(copied.has_value());
    if (copied) {
        const QString line = tr("Replying to: ") + preview(*copied, copiedPreviewLength);
        m_replyingText->setText(
            clampToLines(line, m_replyingText->font(), replyingTextWidth, replyingMaxLines));
        m_replyingText->setToolTip(copied->size() > copiedPreviewLength ? *copied : QString());
    }
    const bool hasSelection = context.selection && !context.selection->isEmpty();
    m_selection->setVisible(hasSelection);
    if (hasSelection)
        m_selection->setText(tr("Selected: ") + preview(*context.selection, selectionPreviewLength));

    const QString request = m_session.request();
    m_listening->setVisible(phase.kind == Kind::Listening);
    if (phase.kind == Kind::Listening)
        m_listening->setText(request.isEmpty()
                                 ? PlatformWords::localize(tr("Listening\u2026 release \u2325Space to send"))
                                 : openQuote + request + closeQuote);
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
        m_sentRequest->setText(openQuote + request + closeQuote);

    m_answer->setVisible(!m_session.answer().isEmpty());
    m_error->setVisible(phase.kind == Kind::Error);
    m_error->setText(phase.message);
    m_adjustRow->setVisible(phase.kind == Kind::Answer && !hasLink);
    if (m_adjustField->text() != m_session.adjustText())
        m_adjustField->setText(m_session.adjustText());
    refreshFooter();

    for (qsizetype i = 0; i < rows.size(); ++i) {
        if (!wasVisible.at(i) && rows.at(i)->isVisibleTo(this))
            reveal(rows.at(i));
    }
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
    m_replyingSymbol->setPixmap(Icons::icon(Icons::Symbol::DocOnClipboard, replyingSymbol,
                                            Theme::mutedForeground(), devicePixelRatioF())
                                    .pixmap(replyingSymbol, replyingSymbol));
    update();
}

void PanelView::reveal(QWidget* row, qreal offset)
{
    auto* effect = new AppearEffect(offset, row);
    row->setGraphicsEffect(effect);
    auto* motion = new QVariantAnimation(effect);
    motion->setStartValue(0.0);
    motion->setEndValue(1.0);
    motion->setDuration(Theme::springDurationMs);
    motion->setEasingCurve(Theme::spring());
    connect(motion, &QVariantAnimation::valueChanged, effect,
            [effect](const QVariant& value) { effect->setProgress(value.toReal()); });
    connect(motion, &QVariantAnimation::finished, row, [row] { row->setGraphicsEffect(nullptr); });
    motion->start();
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
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Theme::border(), 1));
    painter.setBrush(Theme::card());
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 14, 14);
}
