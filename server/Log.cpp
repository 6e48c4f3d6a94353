#include "Log.h"

#include <QDateTime>
#include <cstdio>
#include <mutex>

namespace {

// Control characters (and the Unicode line breaks) become \xNN or \uNNNN, so that text taken from a
// request can neither forge a line nor drive the terminal that shows the log.
QString escaped(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u < 0x20 || u == 0x7f || (u >= 0x80 && u < 0xa0))
            out += QStringLiteral("\\x%1").arg(static_cast<int>(u), 2, 16, QLatin1Char('0'));
        else if (u == 0x2028 || u == 0x2029)
            out += QStringLiteral("\\u%1").arg(static_cast<int>(u), 4, 16, QLatin1Char('0'));
        else
            out += c;
    }
    return out;
}

} // namespace

namespace Log {

void line(const QString& text)
{
    static std::mutex mutex;
    const QByteArray bytes = (QDateTime::currentDateTime().toString(Qt::ISODateWithMs) + QLatin1Char(' ') +
                              escaped(text) + QLatin1Char('\n'))
                                 .toUtf8();
    const std::lock_guard lock(mutex);
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stderr);
    std::fflush(stderr);
}

} // namespace Log
