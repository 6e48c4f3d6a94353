#include "ServiceProcess.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int inFlight = 6;
constexpr int acknowledgedBeforeTheCrash = 12;

} // namespace

// The service killed in the middle of signing devices in: what it acknowledged is still there after.
class TestCrashSafety : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QNetworkAccessManager m_network;
    QStringList m_acknowledged;
    bool m_crashed = false;

    void signIn(const QString& url)
    {
        QNetworkRequest request(QUrl(url + "/auth/login"));
        request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
        const QJsonObject body{{"email", "ana@example.com"},
                               {"password", "correct horse"},
                               {"client", "app"},
                               {"platform", "mac"},
                               {"name", "crash test"}};
        QNetworkReply* reply = m_network.post(request, QJsonDocument(body).toJson());
        connect(reply, &QNetworkReply::finished, this, [this, reply, url] {
            reply->deleteLater();
            const QString token =
                QJsonDocument::fromJson(reply->readAll()).object().value("token").toString();
            if (m_crashed)
                return;
            if (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() == 200 && !token.isEmpty())
                m_acknowledged.append(token);
            signIn(url);
        });
    }

private slots:
    void acknowledgedSignInsSurviveAKill()
    {
        const QString accounts =
            writeFile(m_dir.filePath("accounts.json"),
                      R"({"accounts":[{"email":"ana@example.com","password":"correct horse"}]})",
                      QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        const QStringList options{"--accounts", accounts, "--state", m_dir.filePath("state.db")};
        {
            ServiceProcess service(options);
            QVERIFY(service.started());
            for (int i = 0; i < inFlight; ++i)
                signIn(service.url());
            QTRY_VERIFY_WITH_TIMEOUT(m_acknowledged.size() >= acknowledgedBeforeTheCrash, 30000);
            m_crashed = true;
            service.crash();
        }
        const QStringList acknowledged = m_acknowledged;
        ServiceProcess restarted(options);
        QVERIFY(restarted.started());
        for (const QString& token : acknowledged)
            QCOMPARE(Raw::exchange(restarted.port(),
                                   Raw::get("v1/me", "Authorization: Bearer " + token.toUtf8() + "\r\n"))
                         .status,
                     200);
        qInfo("%lld acknowledged sign-ins, all there after SIGKILL",
              static_cast<long long>(acknowledged.size()));
    }
};

QTEST_GUILESS_MAIN(TestCrashSafety)
#include "tst_crashsafety.moc"
