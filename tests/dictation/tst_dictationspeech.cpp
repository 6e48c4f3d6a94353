#include "desktop/Dictation.h"

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
        QStringList partials;
        QStringList finals;
    };

    QTemporaryDir m_clips;
    std::unique_ptr<Dictation> m_dictation;
    Listener* m_listener = nullptr;

    QString clipOf(const QString& phrase)
    {
        const QString path = m_clips.filePath(QString(phrase).replace(' ', '_') + ".wav");
        if (!QFile::exists(path)) {
            const int status =
                QProcess::execute(QStringLiteral("flite"), {"-voice", "kal16", "-t", phrase, "-o", path});
            if (status != 0)
                return {};
        }
        return path;
    }

    // Plays the phrase into the microphone in real time; the event loop runs meanwhile.
    bool say(const QString& phrase)
    {
        const QString clip = clipOf(phrase);
        if (clip.isEmpty())
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
        const auto error =
            m_dictation->start(m_listener, [this](const QString& text) { m_listener->partials << text; });
        QVERIFY2(!error, qPrintable(error ? error->message : QString()));
    }

    // Decoding may lag behind the voice on a busy machine; the final result is only bounded once it
    // has caught up.
    bool heardSoFar(const QString& phrase)
    {
        return QTest::qWaitFor(
            [&] { return !m_listener->partials.isEmpty() && m_listener->partials.last() == phrase; }, 20000);
    }

    void stop()
    {
        m_dictation->stop(m_listener, [this](const QString& text) { m_listener->finals << text; });
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_clips.isValid());
        QVERIFY2(!qEnvironmentVariableIsEmpty("PULSE_SERVER"),
                 "run through ctest: the sound server is a fixture");
        m_dictation = std::make_unique<Dictation>();
        bool granted = false;
        QObject context;
        QSignalSpy answered(m_dictation.get(), &QObject::objectNameChanged);
        m_dictation->requestPermissions(&context, [&](bool answer) {
            granted = answer;
            m_dictation->setObjectName(QStringLiteral("answered"));
        });
        QVERIFY(answered.wait(20000));
        QVERIFY2(granted, "the recogniser's model and the virtual microphone should both be there");
    }

    void init() { m_listener = new Listener; }

    void cleanup()
    {
        m_dictation->cancel();
        delete m_listener;
        QTRY_COMPARE(recordingStreams(), 0);
    }

    void spokenPhraseComesBackAsText_data()
    {
        QTest::addColumn<QString>("phrase");
        QTest::newRow("short request") << "make it shorter";
        QTest::newRow("longer request") << "what is the weather like today";
    }
    void spokenPhraseComesBackAsText()
    {
        QFETCH(QString, phrase);
        start();
        QVERIFY(say(phrase));
        QVERIFY(heardSoFar(phrase));
        // The transcript grew word by word before the key was released.
        QVERIFY(m_listener->partials.size() >= 2);
        QVERIFY(m_listener->partials.first().size() < phrase.size());
        stop();
        QTRY_COMPARE(m_listener->finals, QStringList{phrase});
    }

    void releaseBeforeSpeechGivesEmptyText()
    {
        start();
        stop();
        QTRY_COMPARE_WITH_TIMEOUT(m_listener->finals, QStringList{QString()},
                                  Dictation::finalResultTimeoutMs + 300);
    }

    void cancelWhileWaitingGivesEmptyTextAtOnce()
    {
        start();
        QVERIFY(say(QStringLiteral("make it shorter")));
        stop();
        m_dictation->cancel();
        QCoreApplication::processEvents();
        QCOMPARE(m_listener->finals, QStringList{QString()});
        QCOMPARE(recordingStreams(), 0);
    }

    void startTwiceKeepsOneCapture()
    {
        start();
        start();
        QCOMPARE(recordingStreams(), 1);
        QVERIFY(say(QStringLiteral("make it shorter")));
        QVERIFY(heardSoFar(QStringLiteral("make it shorter")));
        stop();
        QTRY_COMPARE(m_listener->finals, QStringList{QStringLiteral("make it shorter")});
    }

    void speechSinceThePressIsHeard()
    {
        // The words spoken between the key press and the hold decision are recognised with the rest.
        m_dictation->arm();
        QVERIFY(say(QStringLiteral("make it shorter")));
        start();
        QVERIFY(heardSoFar(QStringLiteral("make it shorter")));
        stop();
        QTRY_COMPARE(m_listener->finals, QStringList{QStringLiteral("make it shorter")});
    }

    void tapDiscardsTheAudioOfThePress()
    {
        m_dictation->arm();
        QCOMPARE(recordingStreams(), 1);
        QVERIFY(say(QStringLiteral("make it shorter")));
        m_dictation->disarm();
        QCOMPARE(recordingStreams(), 0);
        start();
        stop();
        QTRY_COMPARE(m_listener->finals, QStringList{QString()});
    }
};

QTEST_GUILESS_MAIN(TestDictationSpeech)
#include "tst_dictationspeech.moc"
