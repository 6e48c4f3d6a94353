#include "desktop/Dictation.h"

#include "desktop/AudioInput.h"
#include "desktop/SpeechRecognizer.h"

#include <algorithm>
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
    connect(&m_finalTimeout, &QTimer::timeout, this, [this] { finish(m_transcript); });
    connect(m_audio.get(), &AudioInput::captured, this, &Dictation::onCaptured);
    connect(m_recognizer.get(), &SpeechRecognizer::readinessChanged, this, &Dictation::onReadinessChanged);
    connect(m_recognizer.get(), &SpeechRecognizer::transcribed, this, &Dictation::onTranscribed);
    connect(m_recognizer.get(), &SpeechRecognizer::failed, this, &Dictation::onRecognitionFailed);
}

Dictation::~Dictation()
{
    cancel();
}

void Dictation::requestPermissions(QObject* context, AnswerHandler onAnswer)
{
    // Nothing to ask on this platform: speech is granted when the model is there, the microphone when
    // the sound server offers an input.
    const bool granted =
        m_recognizer->readiness() != SpeechRecognizer::Readiness::Unavailable && m_audio->hasInput();
    QMetaObject::invokeMethod(
        context, [granted, onAnswer = std::move(onAnswer)] { onAnswer(granted); }, Qt::QueuedConnection);
}

void Dictation::arm()
{
    if (m_state != State::Idle)
        return;
    m_recognizer->prepare();
    m_waiting.clear();
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
    // After a press the microphone is open, unless the audio kept since filled the buffer.
    if (!m_audio->isOpen() && m_waiting.size() < waitingAudioLimitBytes) {
        if (Result<void> opened = m_audio->open(); !opened.ok()) {
            closeMicrophone();
            m_state = State::Idle;
            return opened;
        }
    }
    m_partial = Pending{context, std::move(onPartial)};
    m_state = State::Capturing;
    m_recognizer->prepare();
    handOver();
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
    // The audio still waiting for the model is kept: it is this utterance.
    m_audio->close();
    m_state = State::Finishing;
    m_finished = std::move(waiter);
    if (m_handedOver) {
        m_recognizer->endAudio();
        m_finalTimeout.start(finalResultTimeoutMs);
    } else if (m_recognizer->readiness() == SpeechRecognizer::Readiness::Unavailable) {
        finish(QString());
    } else {
        m_finalTimeout.start(modelLoadTimeoutMs);
    }
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
    if (m_state == State::Capturing && m_handedOver)
        m_recognizer->appendAudio(samples);
    else if (m_state == State::Armed || m_state == State::Capturing)
        keep(samples);
}

// Audio the recogniser cannot take yet: before start(), or while the model loads.
void Dictation::keep(const QByteArray& samples)
{
    m_waiting.append(samples.first(std::min(samples.size(), waitingAudioLimitBytes - m_waiting.size())));
    if (m_waiting.size() == waitingAudioLimitBytes)
        m_audio->close();
}

void Dictation::onReadinessChanged()
{
    switch (m_recognizer->readiness()) {
    case SpeechRecognizer::Readiness::Ready:
        handOver();
        return;
    case SpeechRecognizer::Readiness::Unavailable:
        // The model failed to load: what was said cannot be heard.
        if ((m_state == State::Capturing || m_state == State::Finishing) && !m_handedOver) {
            emit recognitionUnavailable();
            if (m_state == State::Finishing)
                finish(QString());
        }
        return;
    case SpeechRecognizer::Readiness::Unloaded:
        return;
    }
}

// Begins the utterance in the recogniser once it is ready, with all the audio kept until then.
void Dictation::handOver()
{
    if (m_handedOver || (m_state != State::Capturing && m_state != State::Finishing) ||
        m_recognizer->readiness() != SpeechRecognizer::Readiness::Ready)
        return;
    m_handedOver = true;
    m_recognizer->beginUtterance();
    if (!m_waiting.isEmpty())
        m_recognizer->appendAudio(std::exchange(m_waiting, {}));
    if (m_state == State::Finishing) {
        m_recognizer->endAudio();
        m_finalTimeout.start(finalResultTimeoutMs);
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
    m_handedOver = false;
    m_waiting.clear();
    m_partial.reset();
    m_state = State::Idle;
    if (m_finished)
        deliver(*std::exchange(m_finished, std::nullopt), text.trimmed());
}

void Dictation::abandonRecognition()
{
    m_finalTimeout.stop();
    m_recognizer->cancel();
    m_handedOver = false;
    m_waiting.clear();
    m_partial.reset();
    if (m_finished)
        deliver(*std::exchange(m_finished, std::nullopt), QString());
}

void Dictation::closeMicrophone()
{
    m_audio->close();
    m_waiting.clear();
}

void Dictation::deliver(const Pending& pending, const QString& text)
{
    if (!pending.context)
        return;
    QMetaObject::invokeMethod(
        pending.context, [handler = pending.handler, text] { handler(text); }, Qt::QueuedConnection);
}
