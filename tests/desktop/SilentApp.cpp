// An application that shows a selected text on the accessibility bus, answers while it is well, and on
// the line "hang" on its standard input stops answering anything for good: its main thread, which
// serves the accessibility calls, blocks until the process is killed.
#include <QApplication>
#include <QLineEdit>
#include <QSocketNotifier>
#include <cstdio>
#include <unistd.h>

int main(int argc, char** argv)
{
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    QApplication app(argc, argv);
    QLineEdit edit(QStringLiteral("SILENT"));
    edit.setAccessibleName(QStringLiteral("Silent text"));
    edit.selectAll();
    edit.show();

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &app, [] {
        char line[16] = {};
        if (::read(STDIN_FILENO, line, sizeof line - 1) <= 0 || QByteArray(line).trimmed() != "hang")
            return;
        std::puts("hanging");
        std::fflush(stdout);
        for (;;)
            ::pause();
    });
    return app.exec();
}
