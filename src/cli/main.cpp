#include "base/ExitStatus.h"
#include "cli/AccountCommands.h"
#include "cli/CommandLineAsk.h"

#include <QCoreApplication>
#include <QStringList>
#include <cstdio>

namespace {

const char usage[] = "usage: tavrin --ask QUESTION | --signin SERVER EMAIL | --pair SERVER CODE | --whoami | "
                     "--new-code | --signout | --help | --version\n";

} // namespace

int main(int argc, char* argv[])
{
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
    std::fputs(usage, stderr);
    return ExitStatus::usage;
}
