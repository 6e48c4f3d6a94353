#include "DesktopSession.h"

#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTimer>
#include <cstdio>

namespace DesktopSession {

bool enter()
{
    QFile env(QStringLiteral(TAVRIN_DESKTOP_SESSION_DIR "/session.env"));
    if (!env.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "no desktop session: %s is missing (run the tests through ctest)\n",
                     qPrintable(env.fileName()));
        return false;
    }
    for (const QByteArray& line : env.readAll().split('\n')) {
        if (const qsizetype equals = line.indexOf('='); equals > 0) {
            qputenv(line.first(equals).constData(), line.sliced(equals + 1));
        }
    }
    // The test preset asks for the offscreen platform; these tests need the session's X server.
    qputenv("QT_QPA_PLATFORM", "xcb");
    return true;
}

std::optional<QByteArray> run(const QString& program, const QStringList& arguments, const QByteArray& input)
{
    QProcess process;
    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    QTimer::singleShot(15000, &loop, &QEventLoop::quit);
    process.start(program, arguments);
    if (!input.isNull()) {
        process.write(input);
        process.closeWriteChannel();
    }
    loop.exec();
    // A tool still running at the deadline has failed too.
    process.kill();
    process.waitForFinished();
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        return std::nullopt;
    }
    return process.readAllStandardOutput();
}

std::optional<QByteArray> xdotool(const QStringList& arguments)
{
    return run(QStringLiteral("xdotool"), arguments);
}

quint64 windowOfClass(const QString& windowClass)
{
    return xdotool({"search", "--onlyvisible", "--class", windowClass})
        .value_or(QByteArray())
        .split('\n')
        .first()
        .trimmed()
        .toULongLong();
}

qint64 processOfWindow(quint64 window)
{
    return xdotool({"getwindowpid", QString::number(window)}).value_or(QByteArray()).trimmed().toLongLong();
}

bool activate(quint64 window)
{
    return xdotool({"windowactivate", "--sync", QString::number(window)}).has_value();
}

bool setClipboard(const QByteArray& data, const QString& mimeType)
{
    // xclip forks and serves the clipboard from the background until another owner takes it.
    return run(QStringLiteral("xclip"), {"-selection", "clipboard", "-t", mimeType}, data).has_value();
}

QByteArray clipboard(const QString& mimeType)
{
    return run(QStringLiteral("xclip"), {"-o", "-selection", "clipboard", "-t", mimeType})
        .value_or(QByteArray());
}

} // namespace DesktopSession
