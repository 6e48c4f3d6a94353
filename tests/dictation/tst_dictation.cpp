#include "FakeAudioInput.h"
#include "FakeSpeechRecognizer.h"
#include "desktop/Dictation.h"

#include <QTest>

namespace {

using Readiness = SpeechRecognizer::Readiness;

// The caller's side: a context object that records what each handler received.
struct Listener : QObject
{
    QStringList partials;
    QStringList finals;
    QList<bool> answers;

    Dictation::TextHandler onPartial()
    {
        return [this](const QString& text) { partials << text; };
    }
    Dictation::TextHandler onFinal()
    {
        return [this](const QString& text) { finals << text; };
    }
};

struct Rig
{
    FakeAudioInput* audio = new FakeAudioInput;
    FakeSpeechRecognizer* recognizer;
    Dictation dictation;
    Listener listener;

    explicit Rig(Readiness readiness = Readiness::Ready)
        : recognizer(new FakeSpeechRecognizer(readiness)),
          dictation(std::unique_ptr<AudioInput>(audio), std::unique_ptr<SpeechRecognizer>(recognizer))
    {}

    void start() { QVERIFY(!dictation.start(&listener, listener.onPartial())); }
    void stop() { dictation.stop(&listener, listener.onFinal()); }
};

const QByteArray chunkA(320, 'a');
const QByteArray chunkB(320, 'b');

} // namespace

class TestDictation : public QObject
{
    Q_OBJECT

private slots:
    void finalTranscriptIsTrimmedPartialsAreNot_data()
    {
        QTest::addColumn<QString>("heard");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain") << "make it shorter"
                               << "make it shorter";
        QTest::newRow("trailing newline and blanks") << "make it shorter \n "
                                                     << "make it shorter";
        QTest::newRow("only blanks") << "  \n"
                                     << "";
    }
    void finalTranscriptIsTrimmedPartialsAreNot()
    {
        QFETCH(QString, heard);
        QFETCH(QString, expected);
        Rig rig;
        rig.recognizer->setFinalDelayMs(300);
        rig.start();
        rig.audio->capture(chunkA);
        rig.recognizer->hear(QStringLiteral("make"));
        rig.recognizer->hear(heard);
        QCOMPARE(rig.listener.partials, QStringList({QStringLiteral("make"), heard}));

        rig.stop();
        QVERIFY(!rig.audio->isOpen());
        QVERIFY(rig.recognizer->audioEnded());
        QCOMPARE(rig.recognizer->audio(), chunkA);
        QTRY_COMPARE(rig.listener.finals, QStringList{expected});
        QVERIFY(!rig.dictation.isCapturing());
        QTest::qWait(Dictation::finalResultTimeoutMs + 200); // the timeout, had it survived, is past
        QCOMPARE(rig.listener.finals.size(), 1);
    }

    void everyWayOfEndingAWaitDeliversOnce_data()
    {
        QTest::addColumn<QString>("ending");
        QTest::addColumn<QString>("expected");
        QTest::newRow("no final result: the timeout gives the transcript so far") << "timeout"
                                                                                  << "half a";
        QTest::newRow("recognition error: the transcript so far") << "error"
                                                                  << "half a";
        QTest::newRow("cancel: the empty text") << "cancel"
                                                << "";
        QTest::newRow("new start: the empty text") << "start"
                                                   << "";
        QTest::newRow("second stop: the first waiter gets the empty text") << "stop"
                                                                           << "";
    }
    void everyWayOfEndingAWaitDeliversOnce()
    {
        QFETCH(QString, ending);
        QFETCH(QString, expected);
        Rig rig;
        rig.recognizer->setAnswersAtEnd(false);
        rig.start();
        rig.recognizer->hear(QStringLiteral("half a "));
        rig.stop();
        QCoreApplication::processEvents();
        QVERIFY(rig.listener.finals.isEmpty());

        Listener second;
        if (ending == "error") {
            rig.recognizer->fail({QStringLiteral("Recognizer"), 7, QStringLiteral("broken")});
        } else if (ending == "cancel") {
            rig.dictation.cancel();
        } else if (ending == "start") {
            QVERIFY(!rig.dictation.start(&second, second.onPartial()));
        } else if (ending == "stop") {
            rig.dictation.stop(&second, second.onFinal());
        }
        if (ending != "timeout") {
            // Everything but the timeout ends the wait without waiting for it.
            QCoreApplication::processEvents();
            QCOMPARE(rig.listener.finals, QStringList{expected});
        }
        QTRY_COMPARE(rig.listener.finals, QStringList{expected});

        // Late results change nothing for the first caller; after a second stop() the recognition goes on.
        rig.recognizer->hear(QStringLiteral("late"));
        QTest::qWait(Dictation::finalResultTimeoutMs + 200);
        QCOMPARE(rig.listener.finals, QStringList{expected});
        if (ending == "stop")
            QCOMPARE(second.finals, QStringList{QStringLiteral("late")});
        else
            QCOMPARE(rig.listener.partials, QStringList{QStringLiteral("half a ")});
    }

    void recognitionErrorWhileCapturingKeepsTheTranscript()
    {
        Rig rig;
        rig.recognizer->setAnswersAtEnd(false);
        rig.start();
        rig.recognizer->hear(QStringLiteral("so far"));
        rig.recognizer->fail({QStringLiteral("Recognizer"), 7, QStringLiteral("broken")});
        QVERIFY(rig.dictation.isCapturing());
        rig.stop();
        QTRY_COMPARE(rig.listener.finals, QStringList{QStringLiteral("so far")});
    }

    void startFailures_data()
    {
        QTest::addColumn<Readiness>("readiness");
        QTest::addColumn<bool>("microphoneFails");
        QTest::addColumn<QString>("domain");
        QTest::addColumn<QString>("message");
        QTest::newRow("model did not load") << Readiness::Unavailable << false << "Dictation"
                                            << "Speech recognition is not available";
        QTest::newRow("microphone cannot open") << Readiness::Ready << true << "Audio"
                                                << "no device";
    }
    void startFailures()
    {
        QFETCH(Readiness, readiness);
        QFETCH(bool, microphoneFails);
        QFETCH(QString, domain);
        QFETCH(QString, message);
        Rig rig(readiness);
        if (microphoneFails)
            rig.audio->setOpenError(Error{QStringLiteral("Audio"), 2, QStringLiteral("no device")});
        rig.dictation.arm();
        const auto error = rig.dictation.start(&rig.listener, rig.listener.onPartial());
        QVERIFY(error);
        QCOMPARE(error->domain, domain);
        QCOMPARE(error->message, message);
        if (!microphoneFails)
            QCOMPARE(error->code, 1);
        QVERIFY(!rig.audio->isOpen());
        QCOMPARE(rig.recognizer->utterances(), 0);
        QVERIFY(!rig.dictation.isCapturing());
    }

    void startWhileCapturingKeepsOneCapture()
    {
        Rig rig;
        rig.start();
        rig.audio->capture(chunkA);
        rig.recognizer->hear(QStringLiteral("first"));
        rig.start();
        rig.audio->capture(chunkB);
        QCOMPARE(rig.audio->openCount(), 1);
        QCOMPARE(rig.recognizer->utterances(), 2);
        QVERIFY(rig.recognizer->cancels() >= 1);
        QCOMPARE(rig.recognizer->audio(), chunkB);
        rig.stop();
        QTRY_COMPARE(rig.listener.finals, QStringList{QString()});
    }

    void armedAudioIsHeardOnlyWhenStartFollows()
    {
        Rig rig;
        rig.dictation.arm();
        QVERIFY(rig.audio->isOpen());
        rig.audio->capture(chunkA);
        rig.start();
        rig.audio->capture(chunkB);
        QCOMPARE(rig.recognizer->audio(), chunkA + chunkB);
        rig.dictation.arm(); // a press while capturing changes nothing
        QCOMPARE(rig.recognizer->audio(), chunkA + chunkB);

        // A tap: the audio of the press is dropped and the microphone closed.
        rig.dictation.cancel();
        rig.dictation.arm();
        rig.audio->capture(chunkA);
        rig.dictation.disarm();
        QVERIFY(!rig.audio->isOpen());
        rig.start();
        QVERIFY(rig.recognizer->audio().isEmpty());
    }

    void armedAudioKeepsOnlyTheNewest()
    {
        Rig rig;
        rig.dictation.arm();
        const QByteArray second(Dictation::preRollLimitBytes, 's');
        rig.audio->capture(chunkA);
        rig.audio->capture(second);
        rig.start();
        QCOMPARE(rig.recognizer->audio(), second);
    }

    void stopWithoutStartGivesTheEmptyText()
    {
        Rig rig;
        rig.dictation.arm();
        rig.stop();
        QVERIFY(!rig.audio->isOpen());
        QCOMPARE(rig.listener.finals, QStringList());
        QTRY_COMPARE(rig.listener.finals, QStringList{QString()});
    }

    void handlersOfAGoneContextAreNotCalled()
    {
        Rig rig;
        auto* caller = new Listener;
        QVERIFY(!rig.dictation.start(caller, caller->onPartial()));
        delete caller;
        rig.recognizer->hear(QStringLiteral("nobody listens"));
        rig.stop();
        QTRY_VERIFY(!rig.dictation.isCapturing());
    }

    void destroyingReleasesAWaitingStop()
    {
        Listener listener;
        {
            Rig rig;
            rig.recognizer->setAnswersAtEnd(false);
            rig.start();
            rig.recognizer->hear(QStringLiteral("gone"));
            rig.dictation.stop(&listener, listener.onFinal());
        }
        QTRY_COMPARE(listener.finals, QStringList{QString()});
    }

    void permissions_data()
    {
        QTest::addColumn<Readiness>("readiness");
        QTest::addColumn<bool>("hasInput");
        QTest::addColumn<bool>("granted");
        QTest::newRow("model and microphone") << Readiness::Ready << true << true;
        QTest::newRow("no model") << Readiness::Unavailable << true << false;
        QTest::newRow("no microphone") << Readiness::Ready << false << false;
    }
    void permissions()
    {
        QFETCH(Readiness, readiness);
        QFETCH(bool, hasInput);
        QFETCH(bool, granted);
        for (bool loadedFirst : {true, false}) {
            Rig rig(loadedFirst ? readiness : Readiness::Loading);
            rig.audio->setHasInput(hasInput);
            rig.dictation.requestPermissions(&rig.listener,
                                             [&](bool answer) { rig.listener.answers << answer; });
            QCoreApplication::processEvents();
            if (!loadedFirst) {
                QVERIFY(rig.listener.answers.isEmpty());
                rig.recognizer->finishLoading(readiness);
            }
            QTRY_COMPARE(rig.listener.answers, QList<bool>{granted});
        }
    }
};

QTEST_GUILESS_MAIN(TestDictation)
#include "tst_dictation.moc"
