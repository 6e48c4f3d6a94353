#include "app/Autostart.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <algorithm>

namespace Autostart {

namespace {

Error fileError(const QString& message)
{
    return {QStringLiteral("Autostart"), 1, message};
}

// Desktop entries quote an argument that holds blanks or reserved characters.
QString quotedExec(const QString& program)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    if (std::none_of(program.begin(), program.end(), [](QChar c) { return reserved.contains(c); }))
        return program;
    QString escaped = program;
    for (const QString& special :
         {QStringLiteral("\\"), QStringLiteral("\""), QStringLiteral("`"), QStringLiteral("$")})
        escaped.replace(special, QLatin1Char('\\') + special);
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

QByteArray entry(const QString& program)
{
    // Backslashes in the quoted value are doubled once more by the string escaping of the format.
    QString exec = quotedExec(program);
    exec.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Tavrin\n"
           "Comment=Ask from any application with Alt+Space\n"
           "Exec=" +
           exec.toUtf8() +
           "\n"
           "Icon=tavrin\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

} // namespace

QString entryPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::ConfigLocation) +
           QStringLiteral("/autostart/tavrin.desktop");
}

bool isEnabled()
{
    QFile file(entryPath());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    // A desktop may switch an entry off instead of deleting it.
    const QByteArray contents = file.read(64 * 1024);
    return !contents.contains("\nHidden=true") && !contents.contains("\nX-GNOME-Autostart-enabled=false");
}

Result<void> setEnabled(bool enabled, const QString& program)
{
    const QString path = entryPath();
    if (!enabled) {
        QFile file(path);
        if (file.exists() && !file.remove())
            return fileError(QStringLiteral("Cannot remove %1: %2").arg(path, file.errorString()));
        return {};
    }
    if (!QDir().mkpath(QFileInfo(path).path()))
        return fileError(QStringLiteral("Cannot create the folder of %1").arg(path));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return fileError(QStringLiteral("Cannot write %1: %2").arg(path, file.errorString()));
    file.write(entry(program));
    if (!file.commit())
        return fileError(QStringLiteral("Cannot write %1: %2").arg(path, file.errorString()));
    return {};
}

} // namespace Autostart
