#include "desktop/Dictation.h"

#include "desktop/AudioInput.h"
#include "desktop/SpeechRecognizer.h"

#include <utility>

Error Dictation::unavailableError()
{
    return {errorDomain, errorCode, QStringLiteral("Speech recognition is not available")};
}

Dictation::Dictation(std::unique_ptr<AudioInput> audio, std::unique_ptr<SpeechRecognizer> recognizer,
                     QObject* parent)
    : QObject(parent), m_audio(std::move(audio)), m_recognizer(std::move(recognizer))
{
    m_finalTimeout.setSingleShot(true);
    m_finalTimeout.setInterval(finalResultTimeoutMs);
    connect(&m_finalTimeout, &QTimer::timeout, this, [this] { finish(m_transcript); });
    connect(m_audio.get(), &AudioInput::captured, this, &Dictation::onCaptured);
    connect(m_recognizer.get(), &SpeechRecognizer::transcribed, this, &Dictation::onTranscribed);
    connect(m_recognizer.get(), &SpeechRecognizer::failed, this, &Dictation::onRecognitionFailed);
}

Dictation::~Dictation()
{
    cancel();
}

void Dictation::requestPermissions(QObject* context, AnswerHandler onAnswer)
{
    // Nothing to ask on this platform: speech is granted when the model loaded, the microphone when
    // the sound server offers an input.
    const auto answer = [this] {
        const bool speech = m_recognizer->readiness() == SpeechRecognizer::Readiness::Ready;
        const bool microphone = m_audio->hasInput();
        return speech && microphone;
    };
    if (m_recognizer->readiness() == SpeechRecognizer::Readiness::Loading) {
        connect(
            m_recognizer.get(), &SpeechRecognizer::readinessChanged, context,
            [answer, onAnswer = std::move(onAnswer)] { onAnswer(answer()); }, Qt::SingleShotConnection);
        return;
    }
    QMetaObject::invokeMethod(
        context, [granted = answer(), onAnswer = std::move(onAnswer)] { onAnswer(granted); },
        Qt::QueuedConnection);
}

void Dictation::arm()
{
    if (m_state != State::Idle)
        return;
    m_preRoll.clear();
    if (m_audio->open().ok())
        m_state = State::Armed;
}

void Dictation::disarm()
{
    if (m_state != State::Armed)
        return;
    closeMicrophone();
    m_state = State::Idle;
}

Result<void> Dictation::start(QObject* context, TextHandler onPartial)
{
    if (m_state == State::Capturing || m_state == State::Finishing)
        abandonRecognition();
    m_transcript.clear();
    if (m_recognizer->readiness() == SpeechRecognizer::Readiness::Unavailable) {
        closeMicrophone();
        m_state = State::Idle;
        return unavailableError();
    }
    if (!m_audio->isOpen()) {
        m_preRoll.clear();
        if (Result<void> opened = m_audio->open(); !opened.ok()) {
            m_state = State::Idle;
            return opened;
        }
    }
    m_partial = Pending{context, std::move(onPartial)};
    m_recognizer->beginUtterance();
    if (!m_preRoll.isEmpty())
        m_recognizer->appendAudio(std::exchange(m_preRoll, {}));
    m_state = State::Capturing;
    return {};
}

void Dictation::stop(QObject* context, TextHandler onFinal)
{
    Pending waiter{context, std::move(onFinal)};
    if (m_state == State::Finishing) {
        // A second stop() takes over the wait; the first one is told nothing was heard.
        deliver(*std::exchange(m_finished, std::move(waiter)), QString());
        return;
    }
    if (m_state != State::Capturing) {
        disarm();
        deliver(waiter, QString());
        return;
    }
    closeMicrophone();
    m_recognizer->endAudio();
    m_state = State::Finishing;
    m_finished = std::move(waiter);
    m_finalTimeout.start();
}

void Dictation::cancel()
{
    if (m_state == State::Capturing || m_state == State::Finishing)
        abandonRecognition();
    closeMicrophone();
    m_state = State::Idle;
}

void Dictation::onCaptured(const QByteArray& samples)
{
    if (m_state == State::Capturing) {
        m_recognizer->appendAudio(samples);
    } else if (m_state == State::Armed) {
        // A recogniser that released its model reloads it once the stream delivers, not while the
        // stream is still starting up.
        if (m_preRoll.isEmpty())
            m_recognizer->prepare();
        m_preRoll.append(samples);
        if (m_preRoll.size() > preRollLimitBytes)
            m_preRoll.remove(0, m_preRoll.size() - preRollLimitBytes);
    }
}

void Dictation::onTranscribed(const QString& text, bool isFinal)
{
    if (m_state != State::Capturing && m_state != State::Finishing)
        return;
    m_transcript = text;
    if (m_partial && m_partial->context)
        m_partial->handler(text);
    if (isFinal && m_state == State::Finishing)
        finish(m_transcript);
}

void Dictation::onRecognitionFailed()
{
    // While capturing the partial transcripts already shown stay; a waiting stop() gets them now.
    if (m_state == State::Finishing)
        finish(m_transcript);
}

void Dictation::finish(const QString& text)
{
    m_finalTimeout.stop();
    m_recognizer->cancel();
    m_partial.reset();
    m_state = State::Idle;
    if (m_finished)
        deliver(*std::exchange(m_finished, std::nullopt), text.trimmed());
}

void Dictation::abandonRecognition()
{
    m_finalTimeout.stop();
    m_recognizer->cancel();
    m_partial.reset();
    if (m_finished)
        deliver(*std::exchange(m_finished, std::nullopt), QString());
}

void Dictation::closeMicrophone()
{
    m_audio->close();
    m_preRoll.clear();
}

void Dictation::deliver(const Pending& pending, const QString& text)
{
    if (!pending.context)
        return;
    QMetaObject::invokeMethod(
        pending.context, [handler = pending.handler, text] { handler(text); }, Qt::QueuedConnection);
}
