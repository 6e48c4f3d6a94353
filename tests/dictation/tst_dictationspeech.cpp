#include "desktop/Dictation.h"
#include "platform/Platform.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

// Dictation end to end: speech played into the virtual microphone of a private sound server comes back
// as text through the real microphone and recogniser.
class TestDictationSpeech : public QObject
{
    Q_OBJECT

private:
    struct Listener : QObject
    {
        QStringList partials, finals;
    };

    const QString phrase = QStringLiteral("make it shorter");
    QTemporaryDir m_clips;
    std::unique_ptr<Dictation> m_dictation;
    std::unique_ptr<Listener> m_listener;

    // Plays the phrase into the microphone in real time; the event loop runs meanwhile.
    bool say()
    {
        const QString clip = m_clips.filePath(QStringLiteral("phrase.wav"));
        if (!QFile::exists(clip) && QProcess::execute("flite", {"-voice", "kal16", "-t", phrase, "-o", clip}))
            return false;
        QProcess player;
        QSignalSpy finished(&player, &QProcess::finished);
        player.start(QStringLiteral("paplay"), {"-d", "vmic", clip});
        return finished.wait(10000) && player.exitStatus() == QProcess::NormalExit && player.exitCode() == 0;
    }

    // The number of clients recording from the sound server right now (its remap sources not counted).
    static int recordingStreams()
    {
        QProcess pactl;
        pactl.start(QStringLiteral("pactl"), {"list", "short", "source-outputs"});
        if (!pactl.waitForFinished(5000))
            return -1;
        return int(pactl.readAllStandardOutput().count("protocol-native"));
    }

    void start()
    {
        auto* listener = m_listener.get();
        const Result<void> started =
            m_dictation->start(listener, [listener](const QString& t) { listener->partials << t; });
        QVERIFY2(started.ok(), qPrintable(started.ok() ? QString() : started.error().message));
    }

    // Decoding may lag behind the voice on a busy machine, and the model may still be loading: the
    // final result is only bounded once the transcript has caught up.
    bool heardThenFinal()
    {
        auto* listener = m_listener.get();
        if (!QTest::qWaitFor(
                [&] { return listener->partials.value(listener->partials.size() - 1) == phrase; }, 20000))
            return false;
        m_dictation->stop(listener, [listener](const QString& text) { listener->finals << text; });
        return QTest::qWaitFor([&] { return listener->finals == QStringList{phrase}; }, 5000);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_clips.isValid());
        QVERIFY2(!qEnvironmentVariableIsEmpty("PULSE_SERVER"),
                 "run through ctest: the sound server is a fixture");
        m_dictation = Platform::createDictation();
        QObject context;
        std::optional<bool> granted;
        m_dictation->requestPermissions(&context, [&granted](bool answer) { granted = answer; });
        QTRY_VERIFY(granted.has_value());
        QVERIFY2(*granted, "the recogniser's model and the virtual microphone should both be there");
    }

    void init() { m_listener = std::make_unique<Listener>(); }

    void cleanup()
    {
        m_dictation->cancel();
        m_listener.reset();
        QTRY_COMPARE(recordingStreams(), 0);
    }

    // The model is not loaded before the first press: it loads while the phrase is spoken, before the
    // hold is decided.
    void firstPressHearsWhatIsSaidWhileTheModelLoads()
    {
        m_dictation->arm();
        QVERIFY(say());
        start();
        QVERIFY2(heardThenFinal(), qPrintable(m_listener->partials.join(QLatin1Char('|'))));
    }

    void transcriptGrowsWordByWordWhileSpeaking()
    {
        start();
        QVERIFY(say());
        QVERIFY2(heardThenFinal(), qPrintable(m_listener->partials.join(QLatin1Char('|'))));
        QVERIFY(m_listener->partials.size() >= 2);
        QVERIFY(m_listener->partials.first().size() < phrase.size());
    }
};

QTEST_GUILESS_MAIN(TestDictationSpeech)
#include "tst_dictationspeech.moc"
