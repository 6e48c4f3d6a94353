#include "PasswordHash.h"
#include "RunningService.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>

namespace {

const QString ana = QStringLiteral("ana@example.com");
const QString password = QStringLiteral("tr0ub4dor&3");

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestAccountState : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    FakeClock m_time;
    ServiceClient m_client;

    ServiceOptions options(const QString& statePath) const
    {
        ServiceOptions options;
        options.token = QStringLiteral("shared");
        options.statePath = statePath;
        options.wordDelay = std::chrono::milliseconds(0);
        return options;
    }

    QString signIn(RunningService& running)
    {
        return m_client.post(running.url("auth/login"), QJsonObject{{"email", ana}, {"password", password}})
            .json()
            .value("token")
            .toString();
    }

    int ask(RunningService& running, const QString& token)
    {
        return m_client.post(running.url("v1/ask"), QJsonObject{{"text", "hi"}, {"device", "mac"}}, token)
            .status;
    }

private slots:
    void passwordHashes_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("tried");
        QTest::addColumn<bool>("matches");
        const QString hash = PasswordHash::make(password);
        QStringList parts = hash.split('$');
        parts[1] = QString::number(parts[1].toInt() - 1);
        QTest::newRow("same password") << hash << password << true;
        QTest::newRow("other password") << hash << password + " " << false;
        QTest::newRow("empty password") << hash << QString() << false;
        QTest::newRow("other iteration count") << parts.join('$') << password << false;
        QTest::newRow("plain text stored") << password << password << false;
        QTest::newRow("nothing stored") << QString() << QString() << false;
    }
    void passwordHashes()
    {
        QFETCH(QString, stored);
        QFETCH(QString, tried);
        QFETCH(bool, matches);
        QCOMPARE(PasswordHash::matches(tried, stored), matches);
    }

    void saltMakesEveryHashDifferent()
    {
        QVERIFY(PasswordHash::make(password) != PasswordHash::make(password));
    }

    void dailyLimitAnswers402UntilTheNextDay()
    {
        ServiceOptions limited = options({});
        limited.seed.accounts = {{ana, password, {}, {}}};
        limited.dailyLimit = 2;
        RunningService running(limited, m_time.clock());
        const QString token = signIn(running);
        QCOMPARE(ask(running, token), 200);
        QCOMPARE(ask(running, token), 200);
        const Exchange refused =
            m_client.post(running.url("v1/ask"), QJsonObject{{"text", "hi"}, {"device", "mac"}}, token);
        QCOMPARE(refused.status, 402);
        QVERIFY(!refused.json().value("error").toString().isEmpty());
        QCOMPARE(ask(running, "shared"), 200);
        m_time.advance(std::chrono::hours(24));
        QCOMPARE(ask(running, token), 200);
    }

    void stateKeepsDigestsAndSurvivesARestart()
    {
        const QString statePath = m_dir.filePath("state.json");
        ServiceOptions seeded = options(statePath);
        seeded.seed.accounts = {{ana, password, {}, {}}};
        seeded.seed.invites = {"MRV-ONCE"};
        QString kept;
        QString revoked;
        {
            RunningService running(seeded, m_time.clock());
            kept = signIn(running);
            revoked = signIn(running);
            const int revokedId =
                m_client.get(running.url("v1/devices"), revoked).json().value("current").toInt();
            QCOMPARE(
                m_client.remove(running.url(QStringLiteral("v1/devices/%1").arg(revokedId)), kept).status,
                200);
            const QString ticket =
                QUrlQuery(
                    QUrl(QString::fromUtf8(
                             m_client.get(running.url("auth/google/consent?email=cy@example.com")).location))
                        .query())
                    .queryItemValue("ticket");
            QCOMPARE(m_client
                         .post(running.url("auth/social/complete"),
                               QJsonObject{{"ticket", ticket}, {"invite", "MRV-ONCE"}})
                         .status,
                     200);
        }
        const QByteArray state = readFile(statePath);
        QVERIFY(state.contains("pbkdf2-sha256$"));
        for (const QString& secret : {password, kept, revoked, QStringLiteral("MRV-ONCE")})
            QVERIFY2(!state.contains(secret.toUtf8()), qPrintable(secret));
        QCOMPARE(QFile::permissions(statePath), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                    QFileDevice::ReadUser | QFileDevice::WriteUser);

        // Started again from the state alone, with the same invite offered again.
        ServiceOptions restarted = options(statePath);
        restarted.seed.invites = {"MRV-ONCE"};
        RunningService running(restarted, m_time.clock());
        QCOMPARE(m_client.get(running.url("v1/me"), kept).status, 200);
        QCOMPARE(m_client.get(running.url("v1/me"), revoked).status, 401);
        QVERIFY(!signIn(running).isEmpty());
        const QString ticket =
            QUrlQuery(
                QUrl(QString::fromUtf8(
                         m_client.get(running.url("auth/google/consent?email=dee@example.com")).location))
                    .query())
                .queryItemValue("ticket");
        QCOMPARE(m_client
                     .post(running.url("auth/social/complete"),
                           QJsonObject{{"ticket", ticket}, {"invite", "MRV-ONCE"}})
                     .status,
                 403);
    }

    void unreadableStateStopsTheStart()
    {
        const QString statePath = m_dir.filePath("broken.json");
        QFile file(statePath);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{ not json");
        file.close();
        TavrinService service(options(statePath));
        const std::optional<QString> problem = service.bind();
        QVERIFY(problem);
        QVERIFY2(problem->contains(statePath), qPrintable(*problem));
    }
};

QTEST_GUILESS_MAIN(TestAccountState)
#include "tst_accountstate.moc"
