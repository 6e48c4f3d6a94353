#include "Log.h"
#include "ServiceOptions.h"
#include "TavrinService.h"
#include "base/ExitStatus.h"

#include <QCoreApplication>
#include <csignal>
#include <cstdio>
#include <pthread.h>
#include <sys/resource.h>
#include <thread>

namespace {

// Ctrl+C and SIGTERM stop the service in order: the signals are blocked everywhere and taken by one
// thread, which may call anything, unlike a signal handler.
class StopSignals
{
public:
    StopSignals()
    {
        sigemptyset(&m_signals);
        sigaddset(&m_signals, SIGINT);
        sigaddset(&m_signals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
    }

    void stopOnSignal(TavrinService& service)
    {
        m_waiter = std::thread([this, &service] {
            int received = 0;
            sigwait(&m_signals, &received);
            Log::line(QStringLiteral("stopping (signal %1)").arg(received));
            service.stop();
        });
    }

    ~StopSignals()
    {
        if (!m_waiter.joinable())
            return;
        pthread_kill(m_waiter.native_handle(), SIGTERM);
        m_waiter.join();
    }

private:
    sigset_t m_signals{};
    std::thread m_waiter;
};

// Every connection is a descriptor, and the usual soft limit of 1024 is below what the service holds.
void raiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tavrin-service"));
    const auto parsed = ServiceOptions::parse(QCoreApplication::arguments());
    if (const auto* help = std::get_if<ServiceOptions::Help>(&parsed)) {
        std::fputs(qUtf8Printable(help->text), stdout);
        return ExitStatus::success;
    }
    if (const auto* problem = std::get_if<QString>(&parsed)) {
        std::fprintf(stderr, "tavrin-service: %s\nTry tavrin-service --help.\n", qUtf8Printable(*problem));
        return ExitStatus::usage;
    }

    const auto& options = std::get<ServiceOptions>(parsed);
    if (options.secretsOnCommandLine)
        Log::line(
            QStringLiteral("warning: passwords, invites or tokens given as arguments are visible to every "
                           "local user; prefer --accounts FILE, --token-file FILE or TAVRIN_SERVICE_TOKEN"));
    raiseDescriptorLimit();
    TavrinService service(options);
    // Before the server starts its worker threads, which inherit the blocked signals.
    StopSignals stopSignals;
    if (const std::optional<QString> problem = service.bind()) {
        std::fprintf(stderr, "tavrin-service: %s\n", qUtf8Printable(*problem));
        return ExitStatus::failure;
    }
    std::printf("listening on %s\n", qUtf8Printable(service.url()));
    std::fflush(stdout);
    stopSignals.stopOnSignal(service);
    service.run();
    return ExitStatus::success;
}
