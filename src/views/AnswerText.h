#pragma once

#include <QTextEdit>
#include <QTimer>

// The answer: selectable, as tall as its text measured at a width of 368 plus 4 and at most 320,
// scrolling beyond. Text that streams in is collected and appended at most once a frame, so a delta
// costs the same however long the answer already is, and a burst of deltas is laid out once.
class AnswerText : public QTextEdit
{
    Q_OBJECT
    Q_PROPERTY(int measuredHeight READ measuredHeight NOTIFY measuredHeightChanged)
public:
    static constexpr int measureWidth = 368;
    static constexpr int maximumHeight = 320;
    static constexpr int fontSize = 14;
    static constexpr int frameMs = 16;

    explicit AnswerText(QWidget* parent = nullptr);

    // Replaces the whole text (a reset, a link's message, a new request).
    void replace(const QString& text);
    // Adds what arrived at the end, on screen within a frame.
    void append(const QString& text);
    // Lays out what has arrived now rather than at the next frame.
    void flush();
    // The text's height at the measuring width, rounded up, plus 4.
    int measuredHeight() const { return m_measuredHeight; }

signals:
    void measuredHeightChanged();

private:
    void fit();

    int m_measuredHeight = 0;
    QString m_pending;
    QTimer m_frame;
};
