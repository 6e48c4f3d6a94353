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
        const qsizetype equals = line.indexOf('=');
        if (equals > 0) {
            qputenv(line.first(equals).constData(), line.sliced(equals + 1));
        }
    }
    // The test preset asks for the offscreen platform; these tests need the session's X server.
    qputenv("QT_QPA_PLATFORM", "xcb");
    return true;
}

QString filesDir()
{
    return qEnvironmentVariable("TAVRIN_SESSION_FILES");
}

Outcome run(const QString& program, const QStringList& arguments, const QByteArray& input)
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
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput()};
}

quint64 windowOfClass(const QString& windowClass)
{
    const Outcome found =
        run(QStringLiteral("xdotool"), {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                        QStringLiteral("--class"), windowClass});
    return found.output.split('\n').first().trimmed().toULongLong();
}

qint64 processOfWindow(quint64 window)
{
    return run(QStringLiteral("xdotool"), {QStringLiteral("getwindowpid"), QString::number(window)})
        .output.trimmed()
        .toLongLong();
}

bool activate(quint64 window)
{
    return run(QStringLiteral("xdotool"),
               {QStringLiteral("windowactivate"), QStringLiteral("--sync"), QString::number(window)})
               .exitCode == 0;
}

bool key(const QString& action, const QString& keys)
{
    return run(QStringLiteral("xdotool"), {action, keys}).exitCode == 0;
}

bool setClipboard(const QByteArray& data, const QString& mimeType)
{
    // xclip forks and serves the clipboard from the background until another owner takes it.
    return run(QStringLiteral("xclip"),
               {QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-t"), mimeType},
               data)
               .exitCode == 0;
}

QByteArray clipboard(const QString& mimeType)
{
    return run(QStringLiteral("xclip"), {QStringLiteral("-o"), QStringLiteral("-selection"),
                                         QStringLiteral("clipboard"), QStringLiteral("-t"), mimeType})
        .output;
}

} // namespace DesktopSession
