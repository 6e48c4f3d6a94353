#include "Log.h"

#include <QDateTime>
#include <cstdio>
#include <mutex>

namespace Log {

void line(const QString& text)
{
    static std::mutex mutex;
    const QByteArray bytes = (QDateTime::currentDateTime().toString(Qt::ISODateWithMs) + QLatin1Char(' ') +
                              text + QLatin1Char('\n'))
                                 .toUtf8();
    const std::lock_guard lock(mutex);
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stderr);
    std::fflush(stderr);
}

} // namespace Log
