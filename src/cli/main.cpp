#include "base/ExitStatus.h"
#include "cli/AccountCommands.h"
#include "cli/CommandLineAsk.h"

#include <QCoreApplication>
#include <QStringList>
#include <cstdio>

#ifndef TAVRIN_COMMAND_LINE_ONLY
#include "app/Application.h"
#endif

namespace {

const char usage[] = "usage: tavrin [--panel | --reply] | --ask QUESTION | --signin SERVER EMAIL | "
                     "--pair SERVER CODE | --whoami | --new-code | --signout | --help | --version\n";

#ifndef TAVRIN_COMMAND_LINE_ONLY
const QStringList accountOptions = {QStringLiteral("--signin"), QStringLiteral("--pair"),
                                    QStringLiteral("--whoami"), QStringLiteral("--new-code"),
                                    QStringLiteral("--signout")};

// Every start that is not one of the command-line modes is the desktop application.
bool isCommandLine(const QStringList& arguments)
{
    const qsizetype ask = arguments.indexOf(QStringLiteral("--ask"));
    return (arguments.size() > 1 && accountOptions.contains(arguments.at(1))) ||
           (ask >= 0 && ask + 1 < arguments.size()) || arguments.contains(QStringLiteral("--help")) ||
           arguments.contains(QStringLiteral("--version"));
}
#endif

} // namespace

int main(int argc, char* argv[])
{
#ifndef TAVRIN_COMMAND_LINE_ONLY
    QStringList rawArguments;
    for (int i = 0; i < argc; ++i)
        rawArguments.append(QString::fromLocal8Bit(argv[i]));
    if (!isCommandLine(rawArguments) && Application::hasDisplay())
        return Application::run(argc, argv, rawArguments);
#endif

    // The command-line modes need no display: a core application is all they use.
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tavrin"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TAVRIN_VERSION));
    const QStringList arguments = QCoreApplication::arguments();

    if (const std::optional<int> status = runAccountCommand(arguments))
        return *status;

    const qsizetype ask = arguments.indexOf(QStringLiteral("--ask"));
    if (ask >= 0 && ask + 1 < arguments.size())
        return CommandLineAsk::run(arguments.at(ask + 1), stdout);

    if (arguments.contains(QStringLiteral("--help"))) {
        std::fputs(usage, stdout);
        return ExitStatus::success;
    }
    if (arguments.contains(QStringLiteral("--version"))) {
        std::printf("tavrin %s\n", TAVRIN_VERSION);
        return ExitStatus::success;
    }
    // Without a display there is no application to start.
    std::fputs(usage, stderr);
    return ExitStatus::usage;
}
