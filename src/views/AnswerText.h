#pragma once

#include <QTextEdit>

// The answer: selectable, as tall as its text measured at a width of 368 plus 4 and at most 320,
// scrolling beyond. Text that streams in is appended, so a delta costs the same however long the
// answer already is.
class AnswerText : public QTextEdit
{
    Q_OBJECT
    Q_PROPERTY(int measuredHeight READ measuredHeight NOTIFY measuredHeightChanged)
public:
    static constexpr int measureWidth = 368;
    static constexpr int maximumHeight = 320;
    static constexpr int fontSize = 14;

    explicit AnswerText(QWidget* parent = nullptr);

    // Replaces the whole text (a reset, a link's message, a new request).
    void replace(const QString& text);
    // Adds what arrived at the end.
    void append(const QString& text);
    // The text's height at the measuring width, rounded up, plus 4.
    int measuredHeight() const { return m_measuredHeight; }

signals:
    void measuredHeightChanged();

private:
    void fit();

    int m_measuredHeight = 0;
};
