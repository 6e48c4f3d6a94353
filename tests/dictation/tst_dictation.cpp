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
        row("cancel: the empty text", "cancel", "half a ", "");
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
        rig.stop();
        QVERIFY(!rig.audio->isOpen());
        QVERIFY(rig.recognizer->audioEnded);
        QCOMPARE(rig.recognizer->audio, chunkA);
        QVERIFY(!rig.dictation.isCapturing());
        QVERIFY(rig.finals.isEmpty());

        Listener second;
        if (ending == "cancel")
            rig.dictation.cancel();
        else if (ending == "stop")
            rig.dictation.stop(&second, into(second.finals));
        QCoreApplication::processEvents();
        if (ending == "cancel" || ending == "stop") // ended without waiting for the timeout
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
};

QTEST_GUILESS_MAIN(TestDictation)
#include "tst_dictation.moc"
