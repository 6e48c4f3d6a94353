#include "config/PrivateFile.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace {

Error fileError(const QString& what, const QString& path, int code, const QString& reason)
{
    return {QStringLiteral("File"), code, QStringLiteral("%1 %2: %3").arg(what, path, reason)};
}

} // namespace

namespace PrivateFile {

Result<void> makeDirectories(const QString& directory)
{
    const QString absolute = QDir::cleanPath(QFileInfo(directory).absoluteFilePath());
    QString path;
    for (const QString& component : absolute.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        path += QLatin1Char('/') + component;
        const QByteArray native = QFile::encodeName(path);
        if (::mkdir(native.constData(), 0700) == 0 || errno == EEXIST)
            continue;
        const int code = errno;
        return fileError(QStringLiteral("Could not create the folder"), path, code,
                         QString::fromLocal8Bit(std::strerror(code)));
    }
    const QFileInfo info(absolute);
    if (!info.isDir())
        return fileError(QStringLiteral("Could not create the folder"), absolute, ENOTDIR,
                         QString::fromLocal8Bit(std::strerror(ENOTDIR)));
    return {};
}

Result<void> write(const QString& path, const QByteArray& bytes)
{
    // QSaveFile would follow a symbolic link and replace whatever it points at; the link itself is
    // replaced instead.
    struct stat info
    {
    };
    const QByteArray native = QFile::encodeName(path);
    if (::lstat(native.constData(), &info) == 0 && S_ISLNK(info.st_mode) &&
        ::unlink(native.constData()) != 0) {
        const int code = errno;
        return fileError(QStringLiteral("Could not replace the link"), path, code,
                         QString::fromLocal8Bit(std::strerror(code)));
    }
    // QSaveFile's temporary file starts out 0600; fixing the permissions before commit keeps it so
    // after the rename, instead of widening to the umask default.
    QSaveFile file(path);
    const auto failed = [&](const QString& what) {
        return fileError(what, path, static_cast<int>(file.error()), file.errorString());
    };
    if (!file.open(QIODevice::WriteOnly))
        return failed(QStringLiteral("Could not write"));
    if (!file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        return failed(QStringLiteral("Could not protect"));
    if (file.write(bytes) != bytes.size())
        return failed(QStringLiteral("Could not write"));
    if (!file.commit())
        return failed(QStringLiteral("Could not save"));
    if (::chmod(QFile::encodeName(path).constData(), 0600) != 0) {
        const int code = errno;
        return fileError(QStringLiteral("Could not protect"), path, code,
                         QString::fromLocal8Bit(std::strerror(code)));
    }
    return {};
}

} // namespace PrivateFile
