#include "views/PanelRequestRows.h"

#include "session/Session.h"
#include "views/PanelParts.h"
#include "views/PlatformWords.h"
#include "views/WindowParts.h"

#include <QAbstractTextDocumentLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QTextEdit>
#include <QVBoxLayout>
#include <cmath>
#include <functional>

namespace {

constexpr int maxLines = 4;

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
        const bool overflows = textHeight > maxLines * lineHeight;
        setVerticalScrollBarPolicy(overflows ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
        setFixedHeight(qBound(lineHeight, textHeight, maxLines * lineHeight) + 2);
    }

    std::function<void()> m_submit;
};

} // namespace

PanelRequestRows::PanelRequestRows(Session& session, QWidget* parent) : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_transcript = PanelParts::wrappedLabel(14, QFont::Normal, false, this);
    m_field = new RequestField([&session] { session.send(); }, this);
    connect(m_field, &QTextEdit::textChanged, this,
            [this, &session] { session.setRequest(m_field->toPlainText()); });
    m_sent = PanelParts::wrappedLabel(12, QFont::Normal, false, this);
    layout->addWidget(m_transcript);
    layout->addWidget(m_field);
    layout->addWidget(m_sent);
}

void PanelRequestRows::showRequest(Form form, const QString& request, bool replying)
{
    m_transcript->setVisible(form == Form::Transcript);
    if (form == Form::Transcript)
        m_transcript->setText(request.isEmpty()
                                  ? PlatformWords::localize(tr("Listening\u2026 release \u2325Space to send"))
                                  : quoted(request));
    m_transcript->setForegroundRole(request.isEmpty() ? QPalette::PlaceholderText : QPalette::WindowText);
    m_field->setVisible(form == Form::Field);
    if (m_field->toPlainText() != request) {
        const QSignalBlocker quiet(m_field);
        m_field->setPlainText(request);
        m_field->moveCursor(QTextCursor::End);
    }
    m_field->setPlaceholderText(
        replying ? tr("How should I reply? \u23CE for a standard reply")
                 : tr("Ask anything \u2014 e.g. \u201Creply yes, Thursday 3pm works\u201D"));
    const bool sent = form == Form::Sent && !request.isEmpty();
    m_sent->setVisible(sent);
    if (sent)
        m_sent->setText(quoted(request));
}

void PanelRequestRows::focusField()
{
    m_field->setFocus(Qt::OtherFocusReason);
}

QList<QWidget*> PanelRequestRows::rows() const
{
    return {m_transcript, m_field, m_sent};
}
