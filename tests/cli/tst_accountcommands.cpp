#include "RunningService.h"
#include "TavrinProcess.h"
#include "config/AgentConfig.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString email = QStringLiteral("ana@tavrin.test");
const QString password = QStringLiteral("correct horse");

ServiceOptions accountService()
{
    const auto parsed =
        ServiceOptions::parse({QStringLiteral("tavrin-service"), QStringLiteral("--port"),
                               QStringLiteral("0"), QStringLiteral("--word-delay"), QStringLiteral("0"),
                               QStringLiteral("--account"), email + u':' + password});
    return std::get<ServiceOptions>(parsed);
}

std::optional<AgentConfig> configAt(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return AgentConfig::decode(file.readAll());
}

} // namespace

// The account commands end to end: the real executable against the reference service.
class TestAccountCommands : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<RunningService> m_service;

    QString path(const QString& name) const { return m_dir.filePath(name); }
    QString server() const { return m_service->service().url(); }

    // Runs tavrin with this configuration file and any further variables; expects a normal exit.
    std::unique_ptr<TavrinProcess> run(const QStringList& arguments, const QString& config,
                                       TavrinProcess::Environment environment = {})
    {
        environment.append({QStringLiteral("MORVIK_CONFIG_PATH"), config});
        auto tavrin = std::make_unique<TavrinProcess>(arguments, environment);
        if (!tavrin->finish())
            qFatal("tavrin did not finish");
        return tavrin;
    }

private slots:
    void initTestCase() { m_service = std::make_unique<RunningService>(accountService()); }
    void cleanupTestCase() { m_service.reset(); }

    void signInPairAndSignOut()
    {
        const QString first = path(QStringLiteral("first/config.json"));
        const auto signIn = run({"--signin", server() + "/", email}, first, {{"MORVIK_PASSWORD", password}});
        QCOMPARE(signIn->out(), "signed in: " + email.toUtf8() + "\n");
        QCOMPARE(signIn->status(), 0);
        const std::optional<AgentConfig> stored = configAt(first);
        QVERIFY(stored);
        QCOMPARE(stored->serverURL, server());
        QCOMPARE(stored->email, email);

        const auto whoami = run({"--whoami"}, first);
        QCOMPARE(whoami->out(), "account: " + email.toUtf8() + "\n");

        const QString codeFile = path(QStringLiteral("code.txt"));
        const auto newCode = run({"--new-code"}, first, {{"MORVIK_CODE_OUT", codeFile}});
        QCOMPARE(newCode->status(), 0);
        QFile written(codeFile);
        QVERIFY(written.open(QIODevice::ReadOnly));
        const QByteArray code = written.readAll();
        QVERIFY(!code.isEmpty() && !code.contains('\n'));
        QVERIFY2(!newCode->out().contains(code), "the pairing code must never be printed");
        const QRegularExpression line(
            QStringLiteral("^code: (\\d+) characters · link: (\\S+) · expires in (\\d+)s\\n$"));
        const auto match = line.match(QString::fromUtf8(newCode->out()));
        QVERIFY2(match.hasMatch(), newCode->out().constData());
        QCOMPARE(match.captured(1).toInt(), code.size());
        QVERIFY(match.captured(3).toInt() > 0);

        const QString second = path(QStringLiteral("second.json"));
        const auto paired = run({"--pair", server(), QString::fromUtf8(code)}, second);
        QCOMPARE(paired->out(), "paired: " + email.toUtf8() + "\n");
        QVERIFY(configAt(second)->token != stored->token);

        const auto signOut = run({"--signout"}, first);
        QCOMPARE(signOut->out(), QByteArray("signed out; config exists: false\n"));
        QCOMPARE(signOut->status(), 0);
        QVERIFY(!QFile::exists(first));
        QCOMPARE(run({"--whoami"}, second)->status(), 0);
    }

    void aFailedSignInKeepsTheConfiguration()
    {
        const QString config = path(QStringLiteral("kept.json"));
        const AgentConfig before{QStringLiteral("http://127.0.0.1:9"), QStringLiteral("old"), std::nullopt};
        QFile file(config);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(before.encode());
        file.close();
        const auto wrong = run({"--signin", server(), email}, config, {{"MORVIK_PASSWORD", "wrong"}});
        QVERIFY(wrong->out().startsWith("error: "));
        QCOMPARE(wrong->status(), 1);
        QCOMPARE(configAt(config), before);
    }
};

QTEST_GUILESS_MAIN(TestAccountCommands)
#include "tst_accountcommands.moc"
