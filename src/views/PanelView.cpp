#include "views/PanelView.h"

#include "config/Preferences.h"
#include "session/Session.h"
#include "views/AnswerText.h"
#include "views/PanelActionRow.h"
#include "views/PanelAdjustRow.h"
#include "views/PanelHeader.h"
#include "views/PanelParts.h"
#include "views/PanelReplyingRow.h"
#include "views/PanelRequestRows.h"
#include "views/Theme.h"

#include <QLabel>
#include <QScrollBar>
#include <QShortcut>
#include <QTextBoundaryFinder>
#include <QVBoxLayout>

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
    m_request = new PanelRequestRows(session, this);
    m_answer = new AnswerText(this);
    m_error = PanelParts::wrappedLabel(12, QFont::Normal, false, this);
    m_adjust = new PanelAdjustRow(session, this);
    m_actions = new PanelActionRow(session, this);
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(padding, padding, padding, padding);
    stack->setSpacing(rowSpacing);
    for (QWidget* row : QList<QWidget*>{m_header, m_replying, m_selection, m_request, m_answer, m_error,
                                        m_adjust, m_actions})
        stack->addWidget(row);

    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    escape->setContext(Qt::WindowShortcut);
    connect(escape, &QShortcut::activated, this, [this] { m_session.close(); });
    // The transcript's hint names the shortcut in force.
    connect(&Preferences::shared(), &Preferences::didChange, this, [this] {
        if (m_session.phase().kind == Session::Phase::Listening)
            refresh();
    });
    Theme::follow(this);
    connect(&Theme::Watcher::shared(), &Theme::Watcher::appearanceChanged, this, &PanelView::applyTheme);

    connectSession();
    m_answer->replace(m_session.answer());
    applyTheme();
    phaseChanged();
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

QString PanelView::title() const
{
    using Kind = Session::Phase::Kind;
    switch (m_session.phase().kind) {
    case Kind::Listening:
        return tr("Listening");
    case Kind::Thinking:
        return tr("Thinking");
    case Kind::Answer:
        return m_session.link() ? tr("Live link") : tr("Ready");
    case Kind::Error:
        return tr("Error");
    case Kind::Idle:
    case Kind::Typing:
        break;
    }
    // Until a request is on its way the panel is headed by the product's name.
    return QStringLiteral("Tavrin");
}

void PanelView::refresh()
{
    using Kind = Session::Phase::Kind;
    const Session::Phase phase = m_session.phase();
    // Rows that come into view fade in; the answer does so on its own as its text arrives.
    const QList<QWidget*> rows =
        QList<QWidget*>{m_replying, m_selection} + m_request->rows() + QList<QWidget*>{m_error, m_adjust};
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

    const auto form = phase.kind == Kind::Listening ? PanelRequestRows::Form::Transcript
                      : phase.kind == Kind::Typing  ? PanelRequestRows::Form::Field
                                                    : PanelRequestRows::Form::Sent;
    m_request->showRequest(form, m_session.request(), copied.has_value());
    m_answer->setVisible(!m_session.answer().isEmpty());
    m_error->setVisible(phase.kind == Kind::Error);
    m_error->setText(phase.message);
    m_adjust->setVisible(phase.kind == Kind::Answer && !m_session.link());
    m_adjust->showInstruction(m_session.adjustText());
    m_actions->refresh();

    for (QWidget* row : hidden)
        if (row->isVisibleTo(this))
            PanelParts::reveal(row);
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
        m_request->focusField();
    else if (m_adjust->isVisibleTo(this))
        m_adjust->focusField();
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
