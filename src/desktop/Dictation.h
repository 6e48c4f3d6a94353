#pragma once

#include "base/Result.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <functional>
#include <memory>
#include <optional>

class AudioInput;
class SpeechRecognizer;

// Speech to text while the hot key is held: the microphone feeds the recogniser, the growing transcript
// goes to the caller as it changes, and the final transcript is handed over when the key is released.
// The recogniser's model may still be loading when the words begin: the audio since the press waits
// here and reaches the recogniser, in order, once it is ready.
// Used from the main thread only. Every handler is bound to a context object and is called later (never
// from inside the call that registered it), and not at all once its context is gone.
class Dictation : public QObject
{
    Q_OBJECT
public:
    using TextHandler = std::function<void(const QString&)>;
    using AnswerHandler = std::function<void(bool)>;

    static inline const QString errorDomain = QStringLiteral("Dictation");
    static constexpr int errorCode = 1;
    static Error unavailableError();

    // Longest wait for the final transcript once the recogniser has all of the audio.
    static constexpr int finalResultTimeoutMs = 1200;
    // Longest wait for the model after the release, before the final transcript's own wait begins.
    static constexpr int modelLoadTimeoutMs = 10000;
    // Audio kept until the recogniser can take it (30 s), from the press or while the model loads; the
    // microphone closes when it is full.
    static constexpr int waitingAudioLimitBytes = 30 * 16000 * 2;

    Dictation(std::unique_ptr<AudioInput> audio, std::unique_ptr<SpeechRecognizer> recognizer,
              QObject* parent = nullptr);
    ~Dictation() override;

    // Answers true when the recogniser's model is installed and a microphone is there.
    void requestPermissions(QObject* context, AnswerHandler onAnswer);

    // The hot key went down: open the microphone and load the model, so that the first words are there
    // when start() follows. A failure here is reported by start(), which tries again.
    void arm();
    // The hot key went up without start(): the audio since arm() is discarded unheard.
    void disarm();

    // Starts recognising, beginning with the audio since arm(). Partial transcripts go to onPartial.
    Result<void> start(QObject* context, TextHandler onPartial);
    // Ends the audio; onFinal receives the final transcript, trimmed, at most 1.2 s after the model is
    // ready (at once when it cannot load).
    void stop(QObject* context, TextHandler onFinal);
    // Stops everything; a waiting stop() receives the empty text at once.
    void cancel();

    bool isCapturing() const { return m_state == State::Capturing; }

signals:
    // The model failed to load after start(): what is being said cannot be heard. A waiting stop()
    // still receives the empty text, unless cancel() comes first.
    void recognitionUnavailable();

private:
    enum class State { Idle, Armed, Capturing, Finishing };

    struct Pending
    {
        QPointer<QObject> context;
        TextHandler handler;
    };

    void onCaptured(const QByteArray& samples);
    void keep(const QByteArray& samples);
    void onReadinessChanged();
    void handOver();
    void onTranscribed(const QString& text, bool isFinal);
    void onRecognitionFailed();
    void finish(const QString& text);
    void closeMicrophone();
    void abandonRecognition();
    static void deliver(const Pending& pending, const QString& text);

    std::unique_ptr<AudioInput> m_audio;
    std::unique_ptr<SpeechRecognizer> m_recognizer;
    State m_state = State::Idle;
    // Whether the recogniser has begun the current utterance; until then its audio waits in m_waiting.
    bool m_handedOver = false;
    QByteArray m_waiting;
    QString m_transcript;
    std::optional<Pending> m_partial;
    std::optional<Pending> m_finished;
    QTimer m_finalTimeout;
};
