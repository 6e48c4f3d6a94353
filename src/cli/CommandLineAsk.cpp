#include "cli/CommandLineAsk.h"

#include "base/ExitStatus.h"
#include "cli/TerminalText.h"
#include "service/AgentClient.h"

#include <QCoreApplication>
#include <QTimer>

namespace {

// Prints events as they come. Output is flushed once control returns to the event loop, so a burst of
// deltas read together costs one write while every delta still appears as soon as it has arrived.
class EventPrinter
{
public:
    explicit EventPrinter(std::FILE* out) : m_out(out) {}

    void print(const AskEvent& event)
    {
        std::visit([this](const auto& e) { printOne(e); }, event);
        scheduleFlush();
    }

    void transportError(const Error& error) { line("transport error: " + error.message); }

    void flush()
    {
        std::fflush(m_out);
        m_flushPending = false;
    }

    bool failed = false;

private:
    void printOne(const AskEvents::Route& e) { line("route: " + e.route + " (" + e.source + ")"); }
    void printOne(const AskEvents::Delta& e) { write(e.text); }
    // Only a web address is offered as a link: another scheme could start any program on a click.
    void printOne(const AskEvents::Link& e)
    {
        const QString scheme = e.url.scheme().toLower();
        if (scheme == u"http" || scheme == u"https")
            line("link: " + e.url.toString());
        line(e.message);
    }
    void printOne(const AskEvents::Done& e)
    {
        line("\ndone: " + e.route + " in " + QString::number(e.ms) + " ms");
    }
    void printOne(const AskEvents::Failure& e)
    {
        failed = true;
        line("error: " + e.message);
    }
    void printOne(const AskEvents::Reset&) { line(QStringLiteral("\n[reset]")); }

    void write(const QString& text)
    {
        const QByteArray bytes = TerminalText::printable(text).toUtf8();
        std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), m_out);
    }
    void line(const QString& text) { write(text + QLatin1Char('\n')); }

    void scheduleFlush()
    {
        if (m_flushPending)
            return;
        m_flushPending = true;
        QTimer::singleShot(0, QCoreApplication::instance(), [this] { flush(); });
    }

    std::FILE* m_out;
    bool m_flushPending = false;
};

} // namespace

namespace CommandLineAsk {

int run(const QString& question, std::FILE* out)
{
    const std::optional<AgentConfig> config = AgentConfig::load();
    if (!config) {
        std::fprintf(out, "no config at %s\n", qUtf8Printable(AgentConfig::fileURL()));
        return ExitStatus::notSignedIn;
    }
    AskRequest request;
    request.text = question;
    request.app = QStringLiteral("selftest");

    EventPrinter printer(out);
    AskStream* stream = AgentClient::ask(request, *config);
    QObject::connect(stream, &AskStream::event, stream, [&printer](const AskEvent& e) { printer.print(e); });
    QObject::connect(stream, &AskStream::finished, stream, [&printer](const Result<void>& outcome) {
        if (!outcome.ok()) {
            printer.transportError(outcome.error());
            printer.failed = true;
        }
        QCoreApplication::exit(printer.failed ? ExitStatus::failure : ExitStatus::success);
    });
    const int status = QCoreApplication::exec();
    printer.flush();
    return status;
}

} // namespace CommandLineAsk
