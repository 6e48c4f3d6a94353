// Timings of dictation against the virtual microphone (run through run.sh):
//  - release to final transcript: from stop() until the final text arrives, per spoken phrase;
//  - start to first audio: from start() until the recogniser is handed audio, with and without arm();
//  - speech kept from before the hold decision: with arm() at the press and start() 0.3 s later, how
//    much of the audio since the press reaches the recogniser, and what is recognised of the phrase;
//  - press to first partial transcript, speaking from the press on, with the model not loaded yet (as
//    after launch or the idle release) and with it loaded.
#include "desktop/Dictation.h"
#include "desktop/audio/QtAudioInput.h"
#include "desktop/pocketsphinx/PocketSphinxRecognizer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int holdDecisionMs = 300;
constexpr int bytesPerMs = 32;

// Passes everything to the real recogniser and notes when the audio of an utterance first arrives.
class TimedRecognizer : public SpeechRecognizer
{
public:
    TimedRecognizer() : m_inner(new PocketSphinxRecognizer(PocketSphinxRecognizer::defaultModelDir(), this))
    {
        connect(m_inner, &SpeechRecognizer::readinessChanged, this, &SpeechRecognizer::readinessChanged);
        connect(m_inner, &SpeechRecognizer::transcribed, this, &SpeechRecognizer::transcribed);
        connect(m_inner, &SpeechRecognizer::failed, this, &SpeechRecognizer::failed);
    }

    Readiness readiness() const override { return m_inner->readiness(); }
    void beginUtterance() override
    {
        m_firstAudioNs = -1;
        m_firstAudioBytes = 0;
        m_inner->beginUtterance();
    }
    void appendAudio(const QByteArray& samples) override
    {
        if (m_firstAudioNs < 0) {
            m_firstAudioNs = clock.nsecsElapsed();
            m_firstAudioBytes = samples.size();
        }
        m_inner->appendAudio(samples);
    }
    void prepare() override { m_inner->prepare(); }
    void endAudio() override { m_inner->endAudio(); }
    void cancel() override { m_inner->cancel(); }

    static inline QElapsedTimer clock;
    qint64 m_firstAudioNs = -1;
    qsizetype m_firstAudioBytes = 0;

private:
    SpeechRecognizer* m_inner;
};

void waitUntil(const std::function<bool()>& done, int timeoutMs = 20000)
{
    QElapsedTimer timer;
    timer.start();
    while (!done() && timer.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
}

void waitMs(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

double percentile(std::vector<double> values, double p)
{
    std::sort(values.begin(), values.end());
    const auto index = size_t(p * double(values.size() - 1) + 0.5);
    return values[std::min(index, values.size() - 1)];
}

class Bench : public QObject
{
public:
    Bench()
        : m_recognizer(new TimedRecognizer),
          m_dictation(std::make_unique<QtAudioInput>(), std::unique_ptr<SpeechRecognizer>(m_recognizer))
    {}

    bool prepare(const QStringList& phrases)
    {
        bool answered = false;
        bool granted = false;
        m_dictation.requestPermissions(this, [&](bool answer) {
            answered = true;
            granted = answer;
        });
        waitUntil([&] { return answered; });
        if (!granted) {
            std::fprintf(stderr, "dictation is not available: no model or no microphone\n");
            return false;
        }
        for (const QString& phrase : phrases) {
            const QString path = m_clips.filePath(QString(phrase).replace(' ', '_') + ".wav");
            if (QProcess::execute("flite", {"-voice", "kal16", "-t", phrase, "-o", path}) != 0)
                return false;
            m_clipOf.insert(phrase, path);
        }
        return true;
    }

    QProcess* play(const QString& phrase)
    {
        auto* player = new QProcess(this);
        player->start("paplay", {"-d", "vmic", m_clipOf.value(phrase)});
        player->waitForStarted();
        return player;
    }

    void finishPlaying(QProcess* player)
    {
        waitUntil([player] { return player->state() == QProcess::NotRunning; });
        player->deleteLater();
    }

    // stop() to final text, in ms; the transcript goes to `heard`.
    double releaseToFinal(QString& heard)
    {
        bool done = false;
        QElapsedTimer timer;
        timer.start();
        m_dictation.stop(this, [&](const QString& text) {
            heard = text;
            done = true;
        });
        waitUntil([&] { return done; });
        return double(timer.nsecsElapsed()) / 1e6;
    }

    void start()
    {
        if (const Result<void> started = m_dictation.start(this, [](const QString&) {}); !started.ok())
            std::fprintf(stderr, "start failed: %s\n", qPrintable(started.error().message));
    }

    void measureReleaseToFinal(const QStringList& phrases, int rounds)
    {
        std::vector<double> times;
        int exact = 0;
        for (int round = 0; round < rounds; ++round) {
            for (const QString& phrase : phrases) {
                start();
                finishPlaying(play(phrase));
                waitMs(150);
                QString heard;
                times.push_back(releaseToFinal(heard));
                exact += heard == phrase;
            }
        }
        std::printf("release to final transcript: n=%zu p50=%.1f ms p95=%.1f ms max=%.1f ms (exact %d/%zu)\n",
                    times.size(), percentile(times, 0.5), percentile(times, 0.95), percentile(times, 1.0),
                    exact, times.size());
    }

    void measureStartToFirstAudio(int rounds)
    {
        std::vector<double> cold;
        std::vector<double> armed;
        for (int round = 0; round < rounds; ++round) {
            for (bool arm : {false, true}) {
                if (arm) {
                    m_dictation.arm();
                    waitMs(holdDecisionMs);
                }
                const qint64 startedNs = TimedRecognizer::clock.nsecsElapsed();
                start();
                waitUntil([this] { return m_recognizer->m_firstAudioNs >= 0; });
                (arm ? armed : cold).push_back(double(m_recognizer->m_firstAudioNs - startedNs) / 1e6);
                m_dictation.cancel();
                waitMs(50);
            }
        }
        std::printf("start to first audio, microphone opened at start: p50=%.1f ms p95=%.1f ms\n",
                    percentile(cold, 0.5), percentile(cold, 0.95));
        std::printf("start to first audio, after arm(): p50=%.2f ms p95=%.2f ms\n", percentile(armed, 0.5),
                    percentile(armed, 0.95));
    }

    // The press and the speech begin together; the hold is decided 0.3 s later.
    void measureSpeechBeforeHold(const QStringList& phrases, int rounds)
    {
        for (bool arm : {true, false}) {
            std::vector<double> keptMs;
            int exact = 0;
            int total = 0;
            for (int round = 0; round < rounds; ++round) {
                for (const QString& phrase : phrases) {
                    if (arm)
                        m_dictation.arm();
                    QProcess* player = play(phrase);
                    waitMs(holdDecisionMs);
                    start();
                    waitUntil([this] { return m_recognizer->m_firstAudioNs >= 0; });
                    keptMs.push_back(arm ? double(m_recognizer->m_firstAudioBytes) / bytesPerMs : 0.0);
                    finishPlaying(player);
                    waitMs(150);
                    QString heard;
                    releaseToFinal(heard);
                    exact += heard == phrase;
                    ++total;
                    if (round == 0)
                        std::printf("  %s: \"%s\" heard \"%s\"\n", arm ? "armed" : "unarmed",
                                    qPrintable(phrase), qPrintable(heard));
                }
            }
            std::printf("speech before the hold decision (%d ms), %s: kept p50=%.0f ms min=%.0f ms; "
                        "phrases recognised exactly %d/%d\n",
                        holdDecisionMs, arm ? "armed at the press" : "microphone opened at the hold",
                        percentile(keptMs, 0.5), percentile(keptMs, 0.0), exact, total);
        }
    }

    void measurePressToFirstPartial(const QString& phrase, int rounds)
    {
        std::vector<double> cold;
        std::vector<double> loaded;
        for (int round = 0; round < rounds; ++round) {
            Dictation dictation(std::make_unique<QtAudioInput>(), std::make_unique<PocketSphinxRecognizer>());
            waitMs(1000); // an idle application: the sound server has named its default input
            for (bool modelLoaded : {false, true}) {
                QElapsedTimer timer;
                timer.start();
                double firstPartialMs = -1;
                dictation.arm();
                QProcess* player = play(phrase);
                waitMs(holdDecisionMs);
                const Result<void> started = dictation.start(this, [&](const QString& text) {
                    if (firstPartialMs < 0 && !text.isEmpty())
                        firstPartialMs = double(timer.nsecsElapsed()) / 1e6;
                });
                if (!started.ok())
                    return;
                waitUntil([&] { return firstPartialMs >= 0; });
                finishPlaying(player);
                bool done = false;
                dictation.stop(this, [&](const QString&) { done = true; });
                waitUntil([&] { return done; });
                (modelLoaded ? loaded : cold).push_back(firstPartialMs);
            }
        }
        std::printf("press to first partial, model not loaded: p50=%.0f ms max=%.0f ms; loaded: p50=%.0f ms "
                    "max=%.0f ms\n",
                    percentile(cold, 0.5), percentile(cold, 1.0), percentile(loaded, 0.5),
                    percentile(loaded, 1.0));
    }

private:
    TimedRecognizer* m_recognizer;
    Dictation m_dictation;
    QTemporaryDir m_clips;
    QHash<QString, QString> m_clipOf;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    TimedRecognizer::clock.start();
    const QStringList phrases = {"make it shorter", "what is the weather like today",
                                 "make it longer and more detailed", "send this to the team"};
    const int rounds = argc > 1 ? QString(argv[1]).toInt() : 5;
    Bench bench;
    if (!bench.prepare(phrases))
        return 1;
    bench.measureReleaseToFinal(phrases, rounds);
    bench.measureStartToFirstAudio(rounds * 2);
    bench.measureSpeechBeforeHold(phrases, std::max(1, rounds / 2));
    bench.measurePressToFirstPartial(phrases.first(), rounds);
    return 0;
}
