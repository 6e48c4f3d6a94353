#include "OfflineEngine.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <thread>

namespace {

constexpr qsizetype echoLimit = 160;

QString quoted(const QString& text)
{
    const QString simplified = text.simplified();
    if (simplified.size() <= echoLimit)
        return QStringLiteral("“%1”").arg(simplified);
    return QStringLiteral("“%1…”").arg(simplified.left(echoLimit));
}

QString characters(qsizetype count)
{
    return count == 1 ? QStringLiteral("1 character") : QStringLiteral("%1 characters").arg(count);
}

} // namespace

OfflineEngine::OfflineEngine(std::chrono::milliseconds wordDelay) : m_wordDelay(wordDelay) {}

QString OfflineEngine::compose(const AskInput& input)
{
    QStringList sentences{QStringLiteral("This is the offline engine of the reference service; no language "
                                         "model wrote this answer.")};
    if (input.text.trimmed().isEmpty())
        sentences << QStringLiteral("Your request was empty.");
    else
        sentences << QStringLiteral("You asked: %1.").arg(quoted(input.text));
    const QString where = input.app ? QStringLiteral(" in %1").arg(*input.app) : QString();
    if (input.selection && !input.selection->isEmpty())
        sentences << QStringLiteral("You had selected %1%2.").arg(characters(input.selection->size()), where);
    else
        sentences << QStringLiteral("Nothing was selected%1.").arg(where);
    if (input.copied)
        sentences << QStringLiteral("You are replying to %1 from the clipboard.")
                         .arg(characters(input.copied->size()));
    if (input.draft)
        sentences << QStringLiteral("You want a draft of %1 reworked%2.")
                         .arg(characters(input.draft->size()),
                              input.adjust ? QStringLiteral(": %1").arg(quoted(*input.adjust)) : QString());
    sentences << QStringLiteral("Connect the service to a language model for real answers.");
    return sentences.join(QLatin1Char(' '));
}

QStringList OfflineEngine::words(const QString& text)
{
    QStringList pieces;
    qsizetype start = 0;
    for (qsizetype i = 1; i <= text.size(); ++i) {
        const bool wordEnds = i == text.size() || (text.at(i - 1).isSpace() && !text.at(i).isSpace());
        if (wordEnds) {
            pieces << text.mid(start, i - start);
            start = i;
        }
    }
    return pieces;
}

void OfflineEngine::answer(const AskInput& input, EventSink& sink)
{
    QElapsedTimer clock;
    clock.start();
    if (!sink.send(QStringLiteral("route"),
                   {{QStringLiteral("route"), route},
                    {QStringLiteral("source"), QStringLiteral("reference service")}}))
        return;
    const QStringList pieces = words(compose(input));
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        if (i > 0)
            std::this_thread::sleep_for(m_wordDelay);
        if (!sink.send(QStringLiteral("delta"), {{QStringLiteral("t"), pieces.at(i)}}))
            return;
    }
    sink.send(QStringLiteral("done"),
              {{QStringLiteral("ms"), clock.elapsed()}, {QStringLiteral("route"), route}});
}
