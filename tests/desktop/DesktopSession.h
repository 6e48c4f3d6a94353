#pragma once

#include <QByteArray>
#include <QStringList>
#include <optional>

// The desktop session that the desktop_session fixture started, and the command-line tools that drive it.
namespace DesktopSession {

// Reads the session's environment into this process; call before the QGuiApplication exists.
bool enter();
// A tool's output if it succeeded. The event loop runs meanwhile, so this process can serve the clipboard.
std::optional<QByteArray> run(const QString& program, const QStringList& arguments,
                              const QByteArray& input = {});
std::optional<QByteArray> xdotool(const QStringList& arguments);
quint64 windowOfClass(const QString& windowClass);
qint64 processOfWindow(quint64 window);
bool activate(quint64 window);
// Leaves a clipboard owner (xclip) in the background holding these bytes under this type.
bool setClipboard(const QByteArray& data, const QString& mimeType);
QByteArray clipboard(const QString& mimeType);

} // namespace DesktopSession
