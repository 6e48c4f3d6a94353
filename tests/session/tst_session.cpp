#include "FakeDesktopPlatform.h"
#include "FakeSpeechRecognizer.h"
#include "MakeTestSession.h"
#include "ScriptedServer.h"
#include "config/Preferences.h"
#include "desktop/Dictation.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using Phase = Session::Phase;

namespace {

QByteArray events(std::initializer_list<std::pair<const char*, const char*>> list)
{
    QByteArray bytes;
    for (const auto& [name, data] : list)
        bytes += QByteArray("event: ") + name + "\ndata: " + data + "\n\n";
    return bytes;
}

const QByteArray helloAnswer = events(
    {{"delta", R"({"t":"Hel"})"}, {"delta", R"({"t":"lo"})"}, {"done", R"({"ms":1520,"route":"fast"})"}});

} // namespace

class TestSession : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_settings;
    std::unique_ptr<FakeDesktopPlatform> m_desktop;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<Session> m_session;
    FakeSpeechRecognizer* m_recognizer = nullptr;
    int m_closes = 0;

    QJsonObject lastSent() const
    {
        return QJsonDocument::fromJson(m_server->requests().last().body).object();
    }
    Phase::Kind phase() const { return m_session->phase().kind; }
    void answerWith(const QByteArray& stream) { m_server->enqueue(ScriptedResponse().part(stream)); }
    bool pasted() const { return !m_desktop->keys.sent.isEmpty(); }
    void ask(const QString& request)
    {
        m_session->begin(false, false);
        m_session->setRequest(request);
        m_session->send();
    }

private slots:
    void initTestCase()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settings.path());
    }

    void init()
    {
        Preferences::setAutoInsert(false);
        m_desktop = std::make_unique<FakeDesktopPlatform>();
        m_desktop->reader.app = RunningApp{QStringLiteral("Mousepad"), 42, 7, QStringLiteral("mousepad")};
        m_server = std::make_unique<ScriptedServer>();
        SessionDictationFakes fakes;
        m_session = makeTestSession(*m_desktop, &fakes);
        m_recognizer = fakes.recognizer;
        m_session->setConfig(AgentConfig{m_server->url().toString(), QStringLiteral("tok"), std::nullopt});
        m_closes = 0;
        m_session->setOnClose([this] { ++m_closes; });
    }

    void cleanup()
    {
        m_session.reset();
        m_server.reset();
        m_desktop.reset();
    }

    void replyToClipboardSendsTheFixedRequest()
    {
        m_desktop->board.copyByUser(
            FakeClipboard::textContents(QStringLiteral(" \n  Can we meet at 3?\n\t")));
        m_session->begin(false, true);
        // Read off the main thread: the clipboard's owner may never answer.
        QCOMPARE(m_session->copied(), std::nullopt);
        QTRY_COMPARE(m_session->copied(), QStringLiteral("Can we meet at 3?"));
        answerWith(helloAnswer);
        m_session->send();
        QCOMPARE(m_session->request(), Session::replyRequest);
        QTRY_COMPARE(phase(), Phase::Answer);
        QCOMPARE(lastSent().value("text").toString(), Session::replyRequest);
        QCOMPARE(lastSent().value("copied").toString(), QStringLiteral("Can we meet at 3?"));
        QCOMPARE(lastSent().value("app").toString(), QStringLiteral("Mousepad"));
    }

    void selectionArrivesAfterTheApplicationAndIsSent()
    {
        m_desktop->reader.element =
            FocusedElement{QStringLiteral("two"), QStringLiteral("one two three"), TextRange{4, 3}};
        QSignalSpy contextChanges(m_session.get(), &Session::contextChanged);
        m_session->begin(false, false);
        QCOMPARE(m_session->context().app->name, QStringLiteral("Mousepad"));
        QTRY_COMPARE(m_session->context().selection, QStringLiteral("two"));
        QCOMPARE(contextChanges.count(), 2);

        answerWith(helloAnswer);
        m_session->setRequest(QStringLiteral("explain"));
        m_session->send();
        QTRY_COMPARE(phase(), Phase::Answer);
        QCOMPARE(lastSent().value("selection").toString(), QStringLiteral("two"));
        QCOMPARE(lastSent().value("before").toString(), QStringLiteral("one "));
        QCOMPARE(lastSent().value("after").toString(), QStringLiteral(" three"));
    }

    void routeResetDeltaDoneBuildTheLabelsAndAnswer()
    {
        m_server->enqueue(
            ScriptedResponse()
                .part(events({{"route", R"({"route":"fast","source":"auto"})"}}))
                .heldPart(events({{"delta", R"({"t":"draft"})"}, {"reset", "{}"}}) + helloAnswer));
        ask(QStringLiteral("greet"));
        QCOMPARE(phase(), Phase::Thinking);
        QTRY_COMPARE(m_session->routeLabel(), QStringLiteral("fast · auto"));
        QCOMPARE(phase(), Phase::Thinking);
        m_server->release();
        QTRY_COMPARE(m_session->routeLabel(), QStringLiteral("fast · 1.5s"));
        QCOMPARE(m_session->answer(), QStringLiteral("Hello"));
        QCOMPARE(phase(), Phase::Answer);
        QVERIFY(!pasted());

        // An instruction typed but never sent does not follow the person into the next request.
        m_session->setAdjustText(QStringLiteral("in French"));
        m_session->begin(false, false);
        QCOMPARE(m_session->adjustText(), QString());
    }

    void warningsAndReworksAreNeverPastedByThemselves()
    {
        m_session->begin(true, false);
        m_recognizer->hear(QStringLiteral("fix this"));
        QTRY_COMPARE(m_session->request(), QStringLiteral("fix this"));
        answerWith(events({{"delta", R"({"t":"⚠️ No text was selected."})"}, {"done", R"({"ms":5})"}}));
        m_session->finishListening();
        QTRY_COMPARE(m_session->routeLabel(), QStringLiteral(" · 0.0s"));
        QCOMPARE(phase(), Phase::Answer);

        answerWith(helloAnswer);
        m_session->setAdjustText(QStringLiteral("shorter"));
        m_session->refine(QStringLiteral("  shorter \n"));
        QCOMPARE(m_session->adjustText(), QString());
        QTRY_COMPARE(m_session->answer(), QStringLiteral("Hello"));
        QTRY_COMPARE(m_session->routeLabel(), QStringLiteral("fast · 1.5s"));
        QCOMPARE(lastSent().value("draft").toString(), QStringLiteral("⚠️ No text was selected."));
        QCOMPARE(lastSent().value("adjust").toString(), QStringLiteral("shorter"));
        QCOMPARE(lastSent().value("text").toString(), QStringLiteral("fix this"));
        QCOMPARE(phase(), Phase::Answer);
        QVERIFY(!pasted());
    }

    void aModelThatFailsToLoadWhileListeningSaysSoAtOnce()
    {
        m_recognizer->finishLoading(SpeechRecognizer::Readiness::Unloaded);
        m_session->begin(true, false);
        m_recognizer->finishLoading(SpeechRecognizer::Readiness::Unavailable);
        QCOMPARE(m_session->phase(), (Session::Phase{Phase::Error, Dictation::unavailableError().message}));
        // The release that follows, and the empty transcript it gets, change nothing.
        m_session->finishListening();
        QCoreApplication::processEvents();
        QCOMPARE(phase(), Phase::Error);
    }

    void closingWhileTheTranscriptIsOnItsWayStaysClosed()
    {
        m_recognizer->setAnswersAtEnd(false);
        m_session->begin(true, false);
        m_recognizer->hear(QStringLiteral("hello"));
        QTRY_COMPARE(m_session->request(), QStringLiteral("hello"));
        QSignalSpy phases(m_session.get(), &Session::phaseChanged);
        m_session->finishListening();
        m_session->close();
        QCOMPARE(phases.count(), 1);
        QCoreApplication::processEvents(); // the cancelled transcript is handed over here
        QCOMPARE(phase(), Phase::Idle);
        QVERIFY(m_server->requests().isEmpty());
    }

    void closeWhileThinkingIsSilent()
    {
        m_server->enqueue(ScriptedResponse().heldPart(helloAnswer));
        ask(QStringLiteral("x"));
        QTRY_VERIFY(m_server->isHolding());
        m_session->close();
        QCOMPARE(phase(), Phase::Idle);
        QSignalSpy changes(m_session.get(), &Session::phaseChanged);
        QSignalSpy answers(m_session.get(), &Session::answerChanged);
        QSignalSpy hangUp(m_server.get(), &ScriptedServer::closedByClient);
        m_server->release();
        QTRY_VERIFY(hangUp.count() > 0);
        QCOMPARE(changes.count(), 0);
        QCOMPARE(answers.count(), 0);
    }

    void aNewSendReplacesTheRunningAnswer()
    {
        m_server->enqueue(ScriptedResponse().heldPart(events({{"delta", R"({"t":"OLD"})"}})));
        answerWith(helloAnswer);
        ask(QStringLiteral("x"));
        QTRY_VERIFY(m_server->isHolding());
        QSignalSpy hangUp(m_server.get(), &ScriptedServer::closedByClient);
        m_session->send();
        QTRY_COMPARE(m_session->routeLabel(), QStringLiteral("fast · 1.5s"));
        QTRY_VERIFY(hangUp.count() > 0);
        m_server->release();
        QCOMPARE(m_session->answer(), QStringLiteral("Hello"));
    }

    void streamsThatFailOrSayNothingEndInAnError_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        QTest::newRow("failure event")
            << events({{"delta", R"({"t":"kept"})"}, {"error", R"({"message":"model down"})"}}) << 200
            << QStringLiteral("model down");
        QTest::newRow("signed out on the service")
            << QByteArray() << 401
            << QStringLiteral("This Mac is signed out. Open Tavrin and sign in again.");
    }
    void streamsThatFailOrSayNothingEndInAnError()
    {
        QFETCH(QByteArray, stream);
        QFETCH(int, status);
        QFETCH(QString, message);
        m_server->enqueue(ScriptedResponse(status).part(stream));
        ask(QStringLiteral("x"));
        QTRY_COMPARE(m_session->phase(), (Phase{Phase::Error, message}));
    }
};

QTEST_GUILESS_MAIN(TestSession)
#include "tst_session.moc"
