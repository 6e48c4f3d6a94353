#include "platform/RunningQtApps.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

namespace RunningQtApps {
namespace {

// A maps file is a few hundred kilobytes at most; anything far larger is not worth reading.
constexpr qint64 mapsLimitBytes = 8 * 1024 * 1024;
constexpr int processLimit = 4096;

bool loadsQtGui(const QString& processDir)
{
    QFile maps(processDir + QStringLiteral("/maps"));
    if (!maps.open(QIODevice::ReadOnly))
        return false;
    const QByteArray text = maps.read(mapsLimitBytes);
    return text.contains("/libQt6Gui.so") || text.contains("/libQt5Gui.so");
}

QString processName(const QString& processDir)
{
    QFile comm(processDir + QStringLiteral("/comm"));
    if (!comm.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(comm.read(256)).trimmed();
}

} // namespace

QStringList list(const QString& procRoot, qint64 exceptPid)
{
    const uint me = QFileInfo(QStringLiteral("/proc/self")).ownerId();
    QSet<QString> names;
    const QStringList entries = QDir(procRoot).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    int seen = 0;
    for (const QString& entry : entries) {
        bool isNumber = false;
        const qint64 pid = entry.toLongLong(&isNumber);
        if (!isNumber || pid == exceptPid)
            continue;
        if (++seen > processLimit)
            break;
        const QString processDir = procRoot + QLatin1Char('/') + entry;
        if (QFileInfo(processDir).ownerId() != me || !loadsQtGui(processDir))
            continue;
        const QString name = processName(processDir);
        if (!name.isEmpty())
            names.insert(name);
    }
    QStringList sorted(names.begin(), names.end());
    sorted.sort(Qt::CaseInsensitive);
    return sorted;
}

} // namespace RunningQtApps
