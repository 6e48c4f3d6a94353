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
    const QString phrase = QStringLiteral("make it shorter");
    QTemporaryDir m_clips;
    std::unique_ptr<Dictation> m_dictation;

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

    void cleanup()
    {
        m_dictation->cancel();
        QTRY_COMPARE(recordingStreams(), 0);
    }

    // The model is not loaded before the first press: it loads while the phrase is spoken, before the
    // hold is decided. Decoding may lag behind the voice on a busy machine: the final result is only
    // bounded once the transcript has caught up.
    void firstPressHearsWhatIsSaidWhileTheModelLoads()
    {
        QObject listener;
        QStringList partials, finals;
        m_dictation->arm();
        QVERIFY(say());
        const Result<void> started =
            m_dictation->start(&listener, [&partials](const QString& text) { partials << text; });
        QVERIFY2(started.ok(), qPrintable(started.ok() ? QString() : started.error().message));
        QTRY_COMPARE_WITH_TIMEOUT(partials.value(partials.size() - 1), phrase, 20000);
        m_dictation->stop(&listener, [&finals](const QString& text) { finals << text; });
        QTRY_COMPARE_WITH_TIMEOUT(finals, QStringList{phrase}, 5000);
    }
};

QTEST_GUILESS_MAIN(TestDictationSpeech)
#include "tst_dictationspeech.moc"
