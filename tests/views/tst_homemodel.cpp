#include "WindowFakes.h"
#include "WindowReplies.h"
#include "views/HomeModel.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray streamLine(const QByteArray& name, const QByteArray& json)
{
    return "event: " + name + "\ndata: " + json + "\n";
}

void signIn(const QString& serverURL)
{
    QVERIFY(AgentConfig({serverURL, QStringLiteral("tok"), std::nullopt}).save().ok());
}

} // namespace

class HomeModelTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(m_home.filePath(QStringLiteral("config.json"))));
    }
    void init() { AgentConfig::remove(); }

    void refreshShowsTheAccountState_data()
    {
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<bool>("serverUp");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("server");
        QTest::addColumn<bool>("ok");

        QTest::newRow("signed out") << false << true << 0 << QByteArray() << "Not signed in" << false;
        QTest::newRow("ok") << true << true << 200 << QByteArray("ada@example.com") << "ada@example.com"
                            << true;
        QTest::newRow("revoked") << true << true << 401 << QByteArray(R"({"error":"unauthorized"})")
                                 << "Signed out on the server. Sign in again." << false;
        QTest::newRow("other refusal") << true << true << 500 << QByteArray("<html>")
                                       << "Unreachable (Server returned HTTP 500)" << false;
        QTest::newRow("server down") << true << false << 0 << QByteArray() << "Unreachable (" << false;
    }
    void refreshShowsTheAccountState()
    {
        QFETCH(bool, signedIn);
        QFETCH(bool, serverUp);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, server);
        QFETCH(bool, ok);

        ScriptedServer service;
        if (status == 200)
            service.enqueue(WindowReplies::user(body));
        else if (status)
            service.enqueue(WindowReplies::json(body, status));
        // A port nobody listens on: the service has just gone away.
        QUrl address = service.url();
        if (!serverUp)
            address.setPort(freePort());
        if (signedIn)
            signIn(address.toString());

        HomeModel model(m_accessibility, m_voice);
        model.refresh();
        QTRY_VERIFY(model.server() != QStringLiteral("Checking…"));
        QVERIFY2(model.server().startsWith(server), qPrintable(model.server()));
        QCOMPARE(model.serverOK(), ok);
        QCOMPARE(model.account().has_value(), ok);
        QCOMPARE(model.hasConfig(), signedIn);
    }

    void theLastAnswerWins()
    {
        ScriptedServer service;
        // The first check is answered last.
        service.enqueue(
            WindowReplies::json(R"({"user":{"email":"late@example.com","plan":"p","role":"r"}})", 200, true));
        service.enqueue(WindowReplies::refusal(401, "unauthorized"));
        signIn(service.url().toString());
        HomeModel model(m_accessibility, m_voice);
        model.refresh();
        QTRY_VERIFY(service.isHolding());
        model.refresh();
        QTRY_COMPARE(model.server(), QStringLiteral("Signed out on the server. Sign in again."));
        service.release();
        QTRY_COMPARE(model.server(), QStringLiteral("late@example.com"));
        QVERIFY(model.serverOK());
    }

    void refreshReadsTheDesktop_data()
    {
        QTest::addColumn<bool>("microphone");
        QTest::addColumn<bool>("speech");
        QTest::addColumn<QString>("detail");

        QTest::newRow("ready") << true << true << "Hold ⌥Space and speak";
        QTest::newRow("no model") << true << false << "install the model";
        QTest::newRow("nothing") << false << false << "connect a microphone install the model";
    }
    void refreshReadsTheDesktop()
    {
        QFETCH(bool, microphone);
        QFETCH(bool, speech);
        QFETCH(QString, detail);

        m_accessibility.enabled = true;
        m_voice.status = {microphone, speech, QStringLiteral("connect a microphone"),
                          QStringLiteral("install the model")};
        HomeModel model(m_accessibility, m_voice);
        model.refresh();
        QTRY_VERIFY(model.accessibility());
        QTRY_COMPARE(model.voiceDetail(), detail);
        QCOMPARE(model.microphone(), microphone);
        QCOMPARE(model.speech(), speech);
        m_accessibility.enabled = false;
    }

    void grantingAccessibilityNamesTheApplicationsToRestart_data()
    {
        QTest::addColumn<bool>("refused");
        QTest::addColumn<QStringList>("running");
        QTest::addColumn<QString>("note");

        QTest::newRow("nothing running") << false << QStringList() << "Turned on.";
        QTest::newRow("Qt apps running")
            << false << QStringList{"kate", "konsole"}
            << "Turned on. Restart kate, konsole so that the agent can read them too.";
        QTest::newRow("refused") << true << QStringList() << "No bus";
    }
    void grantingAccessibilityNamesTheApplicationsToRestart()
    {
        QFETCH(bool, refused);
        QFETCH(QStringList, running);
        QFETCH(QString, note);

        FakeAccessibilitySwitch accessibility;
        if (refused)
            accessibility.enableOutcome = Error{QStringLiteral("Accessibility"), 1, QStringLiteral("No bus")};
        else
            accessibility.enableOutcome = running;
        HomeModel model(accessibility, m_voice);
        QSignalSpy changed(&model, &HomeModel::accessibilityChanged);
        model.grantAccessibility();
        QTRY_COMPARE(model.accessibilityNote(), note);
        if (refused)
            QVERIFY(!changed.wait(50) && !model.accessibility());
        else
            QTRY_VERIFY(model.accessibility());
    }

    void selfTestOutput_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<QString>("output");

        QTest::newRow("answer and timing")
            << streamLine("route", R"({"route":"rewrite","source":"s"})") +
                   streamLine("delta", R"({"t":"Hello"})") + streamLine("delta", R"({"t":" there"})") +
                   streamLine("done", R"({"ms":1340,"route":"rewrite"})")
            << "Hello there\n\n— rewrite · 1.3s";
        QTest::newRow("failure replaces the text")
            << streamLine("delta", R"({"t":"partial"})") +
                   streamLine("error", R"({"message":"Model overloaded"})")
            << "⚠️ Model overloaded";
        QTest::newRow("reset clears") << streamLine("delta", R"({"t":"draft"})") + streamLine("reset", "{}") +
                                             streamLine("delta", R"({"t":"again"})")
                                      << "again";
        QTest::newRow("link replaces")
            << streamLine("delta", R"({"t":"x"})") +
                   streamLine("link",
                              "{\"url\":\"https://example.com/c\",\"message\":\"Connect your calendar\"}")
            << "Connect your calendar";
    }
    void selfTestOutput()
    {
        QFETCH(QByteArray, stream);
        QFETCH(QString, output);

        ScriptedServer service;
        service.enqueue(ScriptedResponse().header("Content-Type", "text/event-stream").part(stream));
        signIn(service.url().toString());
        HomeModel model(m_accessibility, m_voice);
        model.setTestInput(QStringLiteral("  "));
        model.runTest();
        QVERIFY(model.testing());
        QTRY_VERIFY(!model.testing());
        QCOMPARE(model.testOutput(), output);
        const QJsonObject sent = QJsonDocument::fromJson(service.requests().first().body).object();
        QCOMPARE(sent.value("text").toString(), QStringLiteral("  "));
        QCOMPARE(sent.value("app").toString(), QStringLiteral("Tavrin"));
        QCOMPARE(sent.value("device").toString(), QStringLiteral("mac"));
        QVERIFY(!sent.contains("selection"));
    }

    void selfTestTransportErrorBecomesAWarning()
    {
        ScriptedServer service;
        service.enqueue(WindowReplies::refusal(401, "unauthorized"));
        signIn(service.url().toString());
        HomeModel model(m_accessibility, m_voice);
        model.setTestInput(QStringLiteral("hi"));
        model.runTest();
        QTRY_VERIFY(!model.testing());
        QVERIFY2(model.testOutput().startsWith(QStringLiteral("⚠️ ")), qPrintable(model.testOutput()));
    }

    void selfTestNeedsInputAndAccount()
    {
        HomeModel signedOut(m_accessibility, m_voice);
        signedOut.setTestInput(QStringLiteral("hi"));
        signedOut.runTest();
        QVERIFY(!signedOut.testing());

        signIn(QStringLiteral("http://127.0.0.1:1"));
        HomeModel empty(m_accessibility, m_voice);
        empty.runTest();
        QVERIFY(!empty.testing());
    }

private:
    static quint16 freePort()
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost);
        return probe.serverPort();
    }

    QTemporaryDir m_home;
    FakeAccessibilitySwitch m_accessibility;
    FakeVoiceCheck m_voice;
};

QTEST_GUILESS_MAIN(HomeModelTest)
#include "tst_homemodel.moc"
