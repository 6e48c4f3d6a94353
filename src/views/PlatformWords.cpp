#include "views/PlatformWords.h"

#include "config/Preferences.h"

#include <QKeySequence>
#include <QRegularExpression>
#include <array>
#include <utility>

namespace PlatformWords {

namespace {

QKeyCombination askCombination()
{
    const QKeySequence sequence =
        QKeySequence::fromString(Preferences::askShortcut(), QKeySequence::PortableText);
    if (sequence.isEmpty() || sequence[0].key() == Qt::Key_unknown)
        return QKeySequence::fromString(Preferences::defaultAskShortcut, QKeySequence::PortableText)[0];
    return sequence[0];
}

} // namespace

QString askShortcut()
{
    return QKeySequence(askCombination()).toString(QKeySequence::NativeText);
}

QString replyShortcut()
{
    const QKeyCombination ask = askCombination();
    const QKeyCombination reply(ask.keyboardModifiers() | Qt::ShiftModifier, ask.key());
    return QKeySequence(reply).toString(QKeySequence::NativeText);
}

QString localize(const QString& text)
{
    static const std::array<std::pair<QString, QString>, 3> keys = {{
        {QStringLiteral("\u2325"), QStringLiteral("Alt+")},
        {QStringLiteral("\u21E7"), QStringLiteral("Shift+")},
        {QStringLiteral("\u2318"), QStringLiteral("Ctrl+")},
    }};
    static const QRegularExpression mac(QStringLiteral("\\bMac\\b"));
    QString result = text;
    result.replace(QStringLiteral("\u2325\u21E7Space"), replyShortcut());
    result.replace(QStringLiteral("\u2325Space"), askShortcut());
    for (const auto& [symbol, word] : keys)
        result.replace(symbol, word);
    result.replace(mac, QStringLiteral("computer"));
    return result;
}

} // namespace PlatformWords
