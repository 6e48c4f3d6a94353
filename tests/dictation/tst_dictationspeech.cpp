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

    QTemporaryDir m_clips;
    std::unique_ptr<Dictation> m_dictation;
    std::unique_ptr<Listener> m_listener;

    // Plays the phrase into the microphone in real time; the event loop runs meanwhile.
    bool say(const QString& phrase)
    {
        const QString clip = m_clips.filePath(QString(phrase).replace(' ', '_') + ".wav");
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

    void stop()
    {
        auto* listener = m_listener.get();
        m_dictation->stop(listener, [listener](const QString& text) { listener->finals << text; });
    }

    // Decoding may lag behind the voice on a busy machine; the final result is only bounded once it
    // has caught up.
    bool heardSoFar(const QString& phrase)
    {
        return QTest::qWaitFor(
            [&] { return !m_listener->partials.isEmpty() && m_listener->partials.last() == phrase; }, 20000);
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
        QTRY_VERIFY_WITH_TIMEOUT(granted.has_value(), 20000);
        QVERIFY2(*granted, "the recogniser's model and the virtual microphone should both be there");
    }

    void init() { m_listener = std::make_unique<Listener>(); }

    void cleanup()
    {
        m_dictation->cancel();
        m_listener.reset();
        QTRY_COMPARE(recordingStreams(), 0);
    }

    void spokenPhraseComesBackAsText_data()
    {
        QTest::addColumn<QString>("phrase");
        QTest::addColumn<QString>("opening");
        // The model is not loaded before the first press: it loads while the first phrase is spoken.
        QTest::newRow("spoken between the press and start") << "make it shorter" << QStringLiteral("arm");
        QTest::newRow("request") << "make it shorter" << QStringLiteral("start");
        QTest::newRow("started twice: one capture") << "make it shorter" << QStringLiteral("start twice");
    }
    void spokenPhraseComesBackAsText()
    {
        QFETCH(QString, phrase);
        QFETCH(QString, opening);
        if (opening == "arm")
            m_dictation->arm();
        else
            start();
        if (opening == "start twice") {
            start();
            QTRY_COMPARE(recordingStreams(), 1);
        }
        QVERIFY(say(phrase));
        if (opening == "arm")
            start();
        QVERIFY2(heardSoFar(phrase), qPrintable(m_listener->partials.join(QLatin1Char('|'))));
        if (opening != "arm") { // the transcript grew word by word before the key was released
            QVERIFY(m_listener->partials.size() >= 2);
            QVERIFY(m_listener->partials.first().size() < phrase.size());
        }
        stop();
        QTRY_COMPARE(m_listener->finals, QStringList{phrase});
    }

    void tapDiscardsTheAudioOfThePress()
    {
        m_dictation->arm();
        QTRY_COMPARE(recordingStreams(), 1);
        QVERIFY(say(QStringLiteral("make it shorter")));
        m_dictation->disarm();
        QTRY_COMPARE(recordingStreams(), 0);
        // Released before any speech: the empty text, within the final result timeout.
        start();
        stop();
        QTRY_COMPARE_WITH_TIMEOUT(m_listener->finals, QStringList{QString()},
                                  Dictation::finalResultTimeoutMs + 300);
    }
};

QTEST_GUILESS_MAIN(TestDictationSpeech)
#include "tst_dictationspeech.moc"
