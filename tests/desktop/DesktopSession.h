#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// The desktop session that the desktop_session fixture started: its environment, its applications
// and the command-line tools that drive them.
namespace DesktopSession {

struct Outcome
{
    int exitCode = -1;
    QByteArray output;
};

// Reads the session's environment into this process; call before the QGuiApplication exists.
bool enter();
QString filesDir();
// Runs a tool while the event loop keeps going, so that this process can serve the clipboard meanwhile.
Outcome run(const QString& program, const QStringList& arguments, const QByteArray& input = {});
quint64 windowOfClass(const QString& windowClass);
qint64 processOfWindow(quint64 window);
bool activate(quint64 window);
bool key(const QString& action, const QString& keys);
// Leaves a clipboard owner (xclip) in the background holding these bytes under this type.
bool setClipboard(const QByteArray& data, const QString& mimeType);
QByteArray clipboard(const QString& mimeType);

} // namespace DesktopSession

// main() for a desktop test: the session's environment, then a QGuiApplication on its X server.
#define TAVRIN_DESKTOP_TEST_MAIN(TestClass)                                                                  \
    int main(int argc, char** argv)                                                                          \
    {                                                                                                        \
        if (!DesktopSession::enter()) {                                                                      \
            return 1;                                                                                        \
        }                                                                                                    \
        QGuiApplication app(argc, argv);                                                                     \
        TestClass test;                                                                                      \
        return QTest::qExec(&test, argc, argv);                                                              \
    }
