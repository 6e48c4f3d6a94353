#include "cli/AccountCommands.h"

#include "base/ExitStatus.h"
#include "cli/TerminalText.h"
#include "config/PrivateFile.h"
#include "service/AuthClient.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QUrl>

namespace {

// Runs one account operation to its end on a local event loop and reports on standard output.
class AccountCommand
{
public:
    AccountCommand(std::FILE* out) : m_out(out) {}

    int signIn(const QString& server, const QString& email)
    {
        const QString password = qEnvironmentVariable("MORVIK_PASSWORD");
        AuthClient::login(server, email, password, &m_loop, [this, server](const auto& session) {
            store(server, session, QStringLiteral("signed in: "));
        });
        return waitForTheEnd();
    }

    int pair(const QString& server, const QString& code)
    {
        AuthClient::pair(server, code, &m_loop, [this, server](const auto& session) {
            store(server, session, QStringLiteral("paired: "));
        });
        return waitForTheEnd();
    }

    int whoAmI(const AgentConfig& config)
    {
        AuthClient::me(config, &m_loop, [this](const Result<AuthClient::User>& user) {
            if (!user.ok())
                return fail(user.error());
            finish(QStringLiteral("account: ") + user.value().email, ExitStatus::success);
        });
        return waitForTheEnd();
    }

    int newCode(const AgentConfig& config)
    {
        AuthClient::newPairingCode(config, &m_loop, [this](const Result<AuthClient::Pairing>& pairing) {
            if (!pairing.ok())
                return fail(pairing.error());
            const AuthClient::Pairing& p = pairing.value();
            const QUrl link(p.deepLink);
            const QString host = link.isValid() && !link.host().isEmpty() ? link.host() : QStringLiteral("?");
            print(QStringLiteral("code: %1 characters · link: %2 · expires in %3s")
                      .arg(p.code.size())
                      .arg(host)
                      .arg(p.expiresIn));
            if (qEnvironmentVariableIsSet("MORVIK_CODE_OUT")) {
                const Result<void> written =
                    PrivateFile::write(qEnvironmentVariable("MORVIK_CODE_OUT"), p.code.toUtf8());
                if (!written.ok())
                    return fail(written.error());
            }
            m_loop.exit(ExitStatus::success);
        });
        return waitForTheEnd();
    }

    int signOut(const AgentConfig& config)
    {
        AuthClient::signOut(config, &m_loop, [this] {
            const bool exists = AgentConfig::load().has_value();
            finish(QStringLiteral("signed out; config exists: ") + QLatin1String(exists ? "true" : "false"),
                   ExitStatus::success);
        });
        return waitForTheEnd();
    }

private:
    int waitForTheEnd()
    {
        const int status = m_loop.exec();
        // Replies delete themselves later; let them go now, before the network session is torn down.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return status;
    }

    void store(const QString& server, const Result<AuthClient::Session>& session, const QString& prefix)
    {
        if (!session.ok())
            return fail(session.error());
        const AgentConfig config{trimmedServer(server), session.value().token, session.value().user.email};
        if (const Result<void> saved = config.save(); !saved.ok())
            return fail(saved.error());
        finish(prefix + session.value().user.email, ExitStatus::success);
    }

    static QString trimmedServer(QString server)
    {
        const auto trimmable = [](QChar c) { return c == u'/' || c == u' ' || c == u'\n'; };
        while (!server.isEmpty() && trimmable(server.front()))
            server.remove(0, 1);
        while (!server.isEmpty() && trimmable(server.back()))
            server.chop(1);
        return server;
    }

    void fail(const Error& error) { finish(QStringLiteral("error: ") + error.message, ExitStatus::failure); }

    void finish(const QString& line, int status)
    {
        print(line);
        m_loop.exit(status);
    }

    void print(const QString& line)
    {
        std::fputs(qUtf8Printable(TerminalText::printable(line) + QLatin1Char('\n')), m_out);
        std::fflush(m_out);
    }

    std::FILE* m_out;
    QEventLoop m_loop;
};

} // namespace

std::optional<int> runAccountCommand(const QStringList& arguments, std::FILE* out, std::FILE* err)
{
    if (arguments.size() < 2)
        return std::nullopt;
    const QString& option = arguments.at(1);
    AccountCommand command(out);

    if (option == u"--signin" || option == u"--pair") {
        if (arguments.size() < 4) {
            const char* what = option == u"--signin" ? "SERVER EMAIL" : "SERVER CODE";
            std::fprintf(err, "usage: tavrin %s %s\n", qUtf8Printable(option), what);
            return ExitStatus::usage;
        }
        return option == u"--signin" ? command.signIn(arguments.at(2), arguments.at(3))
                                     : command.pair(arguments.at(2), arguments.at(3));
    }
    if (option != u"--whoami" && option != u"--new-code" && option != u"--signout")
        return std::nullopt;

    const std::optional<AgentConfig> config = AgentConfig::load();
    if (!config) {
        std::fputs("not signed in\n", out);
        return ExitStatus::notSignedIn;
    }
    if (option == u"--whoami")
        return command.whoAmI(*config);
    if (option == u"--new-code")
        return command.newCode(*config);
    return command.signOut(*config);
}
