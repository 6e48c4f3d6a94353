#pragma once

#include "protocol/LineSplitter.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <variant>

namespace ChatStream {
// The next piece of the answer's text.
struct Piece
{
    QString text;
};
// The server reported an error inside the stream, or sent something that is not part of one.
struct Failure
{
    QString message;
};
using Item = std::variant<Piece, Failure>;
} // namespace ChatStream

// Reads a streamed chat completion ("data: {...}" lines, then "data: [DONE]") as it arrives, however
// its bytes are split, and tells whether the stream was complete.
class ChatStreamParser
{
public:
    static constexpr qsizetype maxLineBytes = qsizetype(1) << 20;

    // Appends to `out` what these bytes complete. After a failure the rest of the stream is not read.
    void feed(QByteArrayView bytes, QList<ChatStream::Item>& out);

    // Whether the server said the answer was finished: "[DONE]" or a finish reason.
    bool complete() const { return m_complete; }
    bool failed() const { return m_failed; }

private:
    void takeLine(QByteArrayView line, QList<ChatStream::Item>& out);
    void takeData(QByteArrayView data, QList<ChatStream::Item>& out);
    void fail(const QString& message, QList<ChatStream::Item>& out);

    LineSplitter m_lines{maxLineBytes};
    bool m_complete = false;
    bool m_failed = false;
};
