#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <algorithm>

// Splits a byte stream into lines ended by LF, CR LF or CR, with the same lines however the bytes are
// split into reads. At most one partial line is kept, of at most maxLineBytes: a longer line is dropped
// whole, and droppedLongLine() tells that it happened.
class LineSplitter
{
public:
    explicit LineSplitter(qsizetype maxLineBytes) : m_maxLineBytes(maxLineBytes) {}

    // Calls onLine(QByteArrayView) for each line these bytes complete, without its line end.
    template <typename OnLine> void feed(QByteArrayView bytes, OnLine&& onLine);
    // The end of the stream: a last line without a line end still counts.
    template <typename OnLine> void finish(OnLine&& onLine);

    bool droppedLongLine() const { return m_droppedLongLine; }

private:
    void appendPartial(QByteArrayView piece)
    {
        if (m_discarding)
            return;
        if (m_partial.size() + piece.size() > m_maxLineBytes) {
            m_discarding = true;
            m_droppedLongLine = true;
            m_partial = QByteArray(); // give the memory back, not only the length
            return;
        }
        m_partial.append(piece);
    }

    qsizetype m_maxLineBytes;
    QByteArray m_partial;
    bool m_discarding = false;
    bool m_skipLineFeed = false;
    bool m_droppedLongLine = false;
};

template <typename OnLine> void LineSplitter::feed(QByteArrayView bytes, OnLine&& onLine)
{
    if (bytes.isEmpty())
        return; // an empty read must not forget a CR that ended the previous one
    const char* p = bytes.data();
    const char* const end = p + bytes.size();
    if (m_skipLineFeed && *p == '\n')
        ++p;
    m_skipLineFeed = false;
    while (p != end) {
        const char* lineEnd = std::find_if(p, end, [](char c) { return c == '\n' || c == '\r'; });
        if (lineEnd == end) {
            appendPartial({p, end - p});
            return;
        }
        if (m_discarding) {
            m_discarding = false;
        } else if (m_partial.isEmpty()) {
            if (lineEnd - p <= m_maxLineBytes)
                onLine(QByteArrayView(p, lineEnd - p));
            else
                m_droppedLongLine = true;
        } else {
            appendPartial({p, lineEnd - p});
            if (!m_discarding)
                onLine(QByteArrayView(m_partial));
            m_discarding = false;
            m_partial.clear();
        }
        p = lineEnd + 1;
        if (*lineEnd == '\r') {
            if (p == end)
                m_skipLineFeed = true;
            else if (*p == '\n')
                ++p;
        }
    }
}

template <typename OnLine> void LineSplitter::finish(OnLine&& onLine)
{
    if (!m_discarding && !m_partial.isEmpty())
        onLine(QByteArrayView(m_partial));
    m_partial.clear();
    m_discarding = false;
    m_skipLineFeed = false;
}
