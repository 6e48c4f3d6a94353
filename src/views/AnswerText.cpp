#include "views/AnswerText.h"

#include <QAbstractTextDocumentLayout>
#include <QScrollBar>
#include <QTextCursor>
#include <cmath>

AnswerText::AnswerText(QWidget* parent) : QTextEdit(parent)
{
    QFont font;
    font.setPixelSize(fontSize);
    setFont(font);
    document()->setDefaultFont(font);
    document()->setDocumentMargin(0);
    // The text is laid out once, at the measuring width; the rest of the row is the scroll bar's.
    setLineWrapMode(QTextEdit::FixedPixelWidth);
    setLineWrapColumnOrWidth(measureWidth);
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setFocusPolicy(Qt::ClickFocus);
    viewport()->setAutoFillBackground(false);
    setAutoFillBackground(false);
    setAccessibleName(tr("Answer"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    fit();
}

void AnswerText::replace(const QString& text)
{
    setPlainText(text);
    fit();
}

void AnswerText::append(const QString& text)
{
    // Inserting at the end lays out only the last paragraph again.
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    end.insertText(text);
    fit();
}

void AnswerText::fit()
{
    const int measured = int(std::ceil(document()->documentLayout()->documentSize().height())) + 4;
    if (measured == m_measuredHeight)
        return;
    m_measuredHeight = measured;
    setFixedHeight(qMin(measured, maximumHeight));
    emit measuredHeightChanged();
}
