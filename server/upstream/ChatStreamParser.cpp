#include "ChatStreamParser.h"

#include "protocol/ErrorBody.h"

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

} // namespace

void ChatStreamParser::feed(QByteArrayView bytes, QList<ChatStream::Item>& out)
{
    if (m_failed)
        return;
    m_lines.feed(bytes, [this, &out](QByteArrayView line) {
        if (!m_failed)
            takeLine(line, out);
    });
    if (!m_failed && m_lines.droppedLongLine())
        fail(QStringLiteral("The model server sent a line of more than %1 bytes.").arg(maxLineBytes), out);
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
                 .arg(ErrorBody::reasonOf(chunk.value(QStringLiteral("error")))
                          .value_or(QStringLiteral("unknown error"))),
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
    out.append(ChatStream::Failure{message});
}
