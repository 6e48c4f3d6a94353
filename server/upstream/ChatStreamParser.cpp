#include "ChatStreamParser.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr qsizetype excerptLength = 80;

QString excerpt(QByteArrayView bytes)
{
    const QString text = QString::fromUtf8(bytes).simplified();
    return text.size() <= excerptLength ? text : text.left(excerptLength) + QStringLiteral("…");
}

// The message of an error object: {"error": {"message": "..."}} or {"error": "..."}.
QString errorMessage(const QJsonValue& error)
{
    const QString message =
        error.isString() ? error.toString() : error.toObject().value(QStringLiteral("message")).toString();
    return message.isEmpty() ? QStringLiteral("unknown error") : message;
}

} // namespace

void ChatStreamParser::feed(QByteArrayView bytes, QList<ChatStream::Item>& out)
{
    while (!m_failed && !bytes.isEmpty()) {
        const qsizetype end = bytes.indexOf('\n');
        if (end < 0) {
            m_partial += bytes;
            if (m_partial.size() > maxLineBytes)
                fail(QStringLiteral("The model server sent a line of more than %1 bytes.").arg(maxLineBytes),
                     out);
            return;
        }
        m_partial += bytes.first(end);
        bytes = bytes.sliced(end + 1);
        if (m_partial.endsWith('\r'))
            m_partial.chop(1);
        const QByteArray line = std::exchange(m_partial, QByteArray());
        takeLine(line, out);
    }
}

void ChatStreamParser::takeLine(QByteArrayView line, QList<ChatStream::Item>& out)
{
    // Event names, ids, comments and the blank lines between events carry nothing for us.
    if (!line.startsWith("data:"))
        return;
    const QByteArrayView data = line.sliced(5).trimmed();
    if (data == "[DONE]") {
        m_complete = true;
        return;
    }
    takeData(data, out);
}

void ChatStreamParser::takeData(QByteArrayView data, QList<ChatStream::Item>& out)
{
    // Invalid UTF-8 would make the whole line unreadable: replace it, keep the rest.
    const QJsonDocument document = QJsonDocument::fromJson(QString::fromUtf8(data).toUtf8());
    if (!document.isObject()) {
        fail(QStringLiteral("The model server sent something that is not part of an answer: %1")
                 .arg(excerpt(data)),
             out);
        return;
    }
    const QJsonObject chunk = document.object();
    if (chunk.contains(QStringLiteral("error"))) {
        fail(QStringLiteral("The model server reported an error: %1")
                 .arg(errorMessage(chunk.value(QStringLiteral("error")))),
             out);
        return;
    }
    // Servers send one choice; usage-only chunks have none.
    const QJsonObject choice = chunk.value(QStringLiteral("choices")).toArray().at(0).toObject();
    const QString text =
        choice.value(QStringLiteral("delta")).toObject().value(QStringLiteral("content")).toString();
    if (!text.isEmpty())
        out.append(ChatStream::Piece{text});
    if (choice.value(QStringLiteral("finish_reason")).isString())
        m_complete = true;
}

void ChatStreamParser::fail(const QString& message, QList<ChatStream::Item>& out)
{
    m_failed = true;
    m_partial.clear();
    out.append(ChatStream::Failure{message});
}
