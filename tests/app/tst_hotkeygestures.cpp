#include "FakeAudioInput.h"
#include "FakeDesktopPlatform.h"
#include "FakeSpeechRecognizer.h"
#include "MakeTestSession.h"
#include "ScriptedServer.h"
#include "app/HotKeyGestures.h"
#include "app/PanelPresenter.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using Phase = Session::Phase;

namespace {

class RecordingPanel : public PanelPresenter
{
public:
    QList<bool> shown; // makeKey of each showPanel
    void showPanel(bool makeKey) override { shown.append(makeKey); }
};

} // namespace

class TestHotKeyGestures : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_settings;
    std::unique_ptr<FakeDesktopPlatform> m_desktop;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<Session> m_session;
    SessionDictationFakes m_fakes;
    RecordingPanel m_panel;
    std::unique_ptr<HotKeyGestures> m_gestures;
    int m_closes = 0;

    Session& session() { return *m_session; }
    Phase::Kind phase() { return session().phase().kind; }

private slots:
    void initTestCase()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settings.path());
    }

    void init()
    {
        m_desktop = std::make_unique<FakeDesktopPlatform>();
        m_server = std::make_unique<ScriptedServer>();
        m_session = makeTestSession(*m_desktop, &m_fakes);
        session().setConfig(AgentConfig{m_server->url().toString(), QStringLiteral("tok"), std::nullopt});
        m_closes = 0;
        session().setOnClose([this] { ++m_closes; });
        m_panel.shown.clear();
        m_gestures = std::make_unique<HotKeyGestures>(session(), m_panel);
    }

    void cleanup()
    {
        m_gestures.reset();
        m_session.reset();
        m_server.reset();
        m_desktop.reset();
    }

    void tapOpensThePanelForTypingWithoutDictation()
    {
        m_gestures->askPressed();
        QVERIFY(m_fakes.microphone->isOpen());
        m_gestures->askReleased();
        QCOMPARE(phase(), Phase::Typing);
        QCOMPARE(m_panel.shown, QList<bool>{true});
        QVERIFY(!m_fakes.microphone->isOpen());
        QCOMPARE(m_fakes.recognizer->utterances, 0);
    }

    // The desktop test follows a hold to its inserted answer; this is its start.
    void holdKeepsWhatWasSaidBeforeItWasRecognised()
    {
        m_gestures->askPressed();
        m_fakes.microphone->capture(QByteArray(320, 'a'));
        QTRY_COMPARE(phase(), Phase::Listening);
        QCOMPARE(m_panel.shown, QList<bool>{false});
        QCOMPARE(m_fakes.recognizer->audio.size(), 320);
    }

    void pressWhileARequestIsOpenCloses()
    {
        session().begin(false, false);
        m_server->enqueue(ScriptedResponse().part(QByteArray()));
        session().setRequest(QStringLiteral("hi"));
        session().send();
        QTRY_COMPARE(phase(), Phase::Thinking);
        m_gestures->askPressed();
        QCOMPARE(phase(), Phase::Idle);
        QCOMPARE(m_closes, 1);
        // The release of that press, however late, opens nothing.
        QTest::qWait(HotKeyGestures::holdThresholdMs + 50);
        m_gestures->askReleased();
        QCOMPARE(phase(), Phase::Idle);
        QVERIFY(m_panel.shown.isEmpty());
    }

    void tapAfterAMissedReleaseFinishesListening()
    {
        m_gestures->askPressed();
        QTRY_COMPARE(phase(), Phase::Listening);
        m_fakes.recognizer->hear(QStringLiteral("summarise"));
        m_server->enqueue(ScriptedResponse().part("event: delta\ndata: {\"t\":\"Done\"}\n\n"));
        // The release never came; the next tap ends the dictation.
        m_gestures->askPressed();
        m_gestures->askReleased();
        QTRY_COMPARE(phase(), Phase::Answer);
        QCOMPARE(session().request(), QStringLiteral("summarise"));
        QCOMPARE(m_panel.shown, QList<bool>{false});
    }

    void holdWhoseDictationFailsOpensTypingOnRelease()
    {
        m_fakes.recognizer->finishLoading(SpeechRecognizer::Readiness::Unavailable);
        m_gestures->askPressed();
        QTRY_COMPARE(phase(), Phase::Error);
        m_gestures->askReleased();
        QCOMPARE(phase(), Phase::Typing);
        QCOMPARE(m_panel.shown, (QList<bool>{false, true}));
    }
};

QTEST_MAIN(TestHotKeyGestures)
#include "tst_hotkeygestures.moc"
