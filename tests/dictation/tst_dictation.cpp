#include "FakeAudioInput.h"
#include "FakeSpeechRecognizer.h"
#include "desktop/Dictation.h"

#include <QTest>

namespace {

using Readiness = SpeechRecognizer::Readiness;

// The caller's side: a context object that records what its handlers received.
struct Listener : QObject
{
    QStringList partials, finals;
};

Dictation::TextHandler into(QStringList& texts)
{
    return [&texts](const QString& text) { texts << text; };
}

struct Rig : Listener
{
    FakeAudioInput* audio = new FakeAudioInput;
    FakeSpeechRecognizer* recognizer;
    Dictation dictation;

    explicit Rig(Readiness readiness = Readiness::Ready)
        : recognizer(new FakeSpeechRecognizer(readiness)),
          dictation(std::unique_ptr<AudioInput>(audio), std::unique_ptr<SpeechRecognizer>(recognizer))
    {}
    Result<void> start() { return dictation.start(this, into(partials)); }
    void stop() { dictation.stop(this, into(finals)); }
};

const QByteArray chunkA(320, 'a');
const QByteArray chunkB(320, 'b');

} // namespace

class TestDictation : public QObject
{
    Q_OBJECT

private slots:
    void everyWayOfEndingAWaitDeliversOnce_data()
    {
        QTest::addColumn<QString>("ending");
        QTest::addColumn<QString>("heard");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const char* ending, const char* heard, const char* expected) {
            QTest::newRow(name) << QString(ending) << QString(heard) << QString(expected);
        };
        row("final result, trimmed", "final", "half a \n ", "half a");
        row("timeout: the transcript so far", "timeout", "half a ", "half a");
        row("error while capturing, then timeout", "error, then timeout", "half a ", "half a");
        row("recognition error: the transcript so far", "error", "half a ", "half a");
        row("cancel: the empty text", "cancel", "half a ", "");
        row("new start: the empty text", "start", "half a ", "");
        row("second stop: the first waiter gets the empty text", "stop", "half a ", "");
    }
    void everyWayOfEndingAWaitDeliversOnce()
    {
        QFETCH(QString, ending);
        QFETCH(QString, heard);
        QFETCH(QString, expected);
        Rig rig;
        rig.recognizer->setAnswersAtEnd(ending == "final");
        QVERIFY(rig.start().ok());
        rig.audio->capture(chunkA);
        rig.recognizer->hear(QStringLiteral("half"));
        rig.recognizer->hear(heard);
        QCOMPARE(rig.partials, QStringList({QStringLiteral("half"), heard})); // untrimmed
        if (ending == "error, then timeout") {
            rig.recognizer->fail();
            QVERIFY(rig.dictation.isCapturing());
        }
        rig.stop();
        QVERIFY(!rig.audio->isOpen());
        QVERIFY(rig.recognizer->audioEnded);
        QCOMPARE(rig.recognizer->audio, chunkA);
        QVERIFY(!rig.dictation.isCapturing());
        QVERIFY(rig.finals.isEmpty());

        Listener second;
        if (ending == "error")
            rig.recognizer->fail();
        else if (ending == "cancel")
            rig.dictation.cancel();
        else if (ending == "start")
            QVERIFY(rig.dictation.start(&second, into(second.partials)).ok());
        else if (ending == "stop")
            rig.dictation.stop(&second, into(second.finals));
        QCoreApplication::processEvents();
        if (ending != "final" && !ending.endsWith("timeout")) // ended without waiting for the timeout
            QCOMPARE(rig.finals, QStringList{expected});
        QTRY_COMPARE(rig.finals, QStringList{expected});
        const QStringList partials = rig.partials;

        // Late results change nothing for the first caller; after a second stop() the recognition goes on.
        rig.recognizer->hear(QStringLiteral("late"));
        QTest::qWait(Dictation::finalResultTimeoutMs + 200);
        QCOMPARE(rig.finals, QStringList{expected});
        if (ending == "stop")
            QCOMPARE(second.finals, QStringList{QStringLiteral("late")});
        else
            QCOMPARE(rig.partials, partials);
    }

    void microphoneThatCannotOpenFailsStart()
    {
        Rig rig;
        rig.audio->openError = Error{"Audio", 2, "no device"};
        rig.dictation.arm();
        QCOMPARE(rig.start(), Result<void>(*rig.audio->openError));
        QCOMPARE(rig.recognizer->utterances, 0);
        QVERIFY(!rig.dictation.isCapturing());
    }

    void startWhileCapturingKeepsOneCapture()
    {
        Rig rig;
        QVERIFY(rig.start().ok());
        rig.audio->capture(chunkA);
        rig.recognizer->hear(QStringLiteral("first"));
        QVERIFY(rig.start().ok());
        rig.audio->capture(chunkB);
        QCOMPARE(rig.audio->openCount, 1);
        QCOMPARE(rig.recognizer->utterances, 2);
        QVERIFY(rig.recognizer->cancels >= 1);
        QCOMPARE(rig.recognizer->audio, chunkB);
        rig.stop();
        QTRY_COMPARE(rig.finals, QStringList{QString()});
    }

    void pressWithoutStartHearsNothing()
    {
        // A tap: the audio of the press is dropped and the microphone closed.
        Rig rig;
        rig.dictation.arm();
        rig.audio->capture(chunkA);
        rig.dictation.disarm();
        QVERIFY(!rig.audio->isOpen());
        QVERIFY(rig.start().ok());
        QVERIFY(rig.recognizer->audio.isEmpty());

        // A release without start: the microphone closes, the caller gets the empty text, later.
        rig.dictation.cancel();
        rig.dictation.arm();
        rig.stop();
        QVERIFY(!rig.audio->isOpen());
        QVERIFY(rig.finals.isEmpty());
        QTRY_COMPARE(rig.finals, QStringList{QString()});
    }

    void handlersOfAGoneContextAreNotCalled()
    {
        Rig rig;
        auto* caller = new Listener;
        QVERIFY(rig.dictation.start(caller, into(caller->partials)).ok());
        rig.dictation.stop(caller, into(caller->finals));
        delete caller;
        rig.recognizer->hear(QStringLiteral("nobody listens"));
        QTRY_COMPARE(rig.recognizer->cancels, 1); // the final result has ended the wait
        QCoreApplication::processEvents();
    }

    // The model loads from the press on: what is said meanwhile reaches the recogniser in order once
    // it is ready, and the final transcript follows even a release that came first.
    void audioWaitsForTheModel_data()
    {
        QTest::addColumn<QString>("loads");
        QTest::addColumn<Readiness>("loaded");
        QTest::addColumn<QString>("final");
        QTest::newRow("loaded before the press") << "before" << Readiness::Ready << "half a";
        QTest::newRow("loaded while held") << "held" << Readiness::Ready << "half a";
        QTest::newRow("loaded after the release") << "released" << Readiness::Ready << "half a";
        QTest::newRow("failed while held") << "held" << Readiness::Unavailable << "";
        QTest::newRow("failed after the release") << "released" << Readiness::Unavailable << "";
    }
    void audioWaitsForTheModel()
    {
        QFETCH(QString, loads);
        QFETCH(Readiness, loaded);
        QFETCH(QString, final);
        Rig rig(loads == "before" ? loaded : Readiness::Unloaded);
        rig.dictation.arm();
        QCOMPARE(rig.recognizer->prepares, 1);
        rig.audio->capture(chunkA);
        QVERIFY(rig.start().ok());
        rig.audio->capture(chunkB);
        rig.dictation.arm(); // a press while capturing changes nothing
        if (loads == "released")
            rig.stop();
        QCOMPARE(rig.recognizer->utterances, loads == "before" ? 1 : 0);

        rig.recognizer->finishLoading(loaded);
        rig.audio->capture(chunkA);
        if (loaded == Readiness::Ready) {
            QCOMPARE(rig.recognizer->utterances, 1);
            QCOMPARE(rig.recognizer->audio, loads == "released" ? chunkA + chunkB : chunkA + chunkB + chunkA);
            QCOMPARE(rig.recognizer->audioEnded, loads == "released");
            rig.recognizer->hear(QStringLiteral("half a"));
        }
        if (loads != "released")
            rig.stop();
        QTRY_COMPARE(rig.finals, QStringList{final});
        if (loaded == Readiness::Ready)
            return;
        rig.dictation.arm();
        QCOMPARE(rig.start(), Result<void>(Error{"Dictation", 1, "Speech recognition is not available"}));
        QVERIFY(!rig.audio->isOpen());
    }

    void audioWaitingForTheModelIsCapped()
    {
        Rig rig(Readiness::Unloaded);
        QVERIFY(rig.start().ok());
        const QByteArray most(Dictation::waitingAudioLimitBytes - 100, 'm');
        rig.audio->capture(most);
        rig.audio->capture(chunkA); // only the first 100 bytes fit: the microphone closes
        QVERIFY(!rig.audio->isOpen());
        rig.recognizer->finishLoading(Readiness::Ready);
        QCOMPARE(rig.recognizer->audio, most + chunkA.first(100));
    }

    void destroyingReleasesAWaitingStop()
    {
        Listener listener;
        {
            Rig rig;
            rig.recognizer->setAnswersAtEnd(false);
            QVERIFY(rig.start().ok());
            rig.recognizer->hear(QStringLiteral("gone"));
            rig.dictation.stop(&listener, into(listener.finals));
        }
        QTRY_COMPARE(listener.finals, QStringList{QString()});
    }

    void permissions_data()
    {
        QTest::addColumn<Readiness>("readiness");
        QTest::addColumn<bool>("hasInput");
        QTest::addColumn<bool>("granted");
        QTest::newRow("model loaded, microphone") << Readiness::Ready << true << true;
        QTest::newRow("model not loaded yet") << Readiness::Unloaded << true << true;
        QTest::newRow("no model") << Readiness::Unavailable << true << false;
        QTest::newRow("no microphone") << Readiness::Ready << false << false;
    }
    void permissions()
    {
        QFETCH(Readiness, readiness);
        QFETCH(bool, hasInput);
        QFETCH(bool, granted);
        Rig rig(readiness);
        rig.audio->input = hasInput;
        QList<bool> answers;
        rig.dictation.requestPermissions(&rig, [&answers](bool answer) { answers << answer; });
        QVERIFY(answers.isEmpty());
        QTRY_COMPARE(answers, QList<bool>{granted});
    }
};

QTEST_GUILESS_MAIN(TestDictation)
#include "tst_dictation.moc"
