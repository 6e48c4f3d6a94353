#include "FakeSpeechRecognizer.h"

FakeSpeechRecognizer::FakeSpeechRecognizer(Readiness readiness, QObject* parent)
    : SpeechRecognizer(parent), m_readiness(readiness)
{
    m_finalTimer.setSingleShot(true);
    m_finalTimer.setInterval(0);
    connect(&m_finalTimer, &QTimer::timeout, this,
            [this] { emit transcribed(m_final.value_or(m_lastPartial), true); });
}

void FakeSpeechRecognizer::beginUtterance()
{
    m_finalTimer.stop();
    m_audio.clear();
    m_lastPartial.clear();
    m_audioEnded = false;
    ++m_utterances;
}

void FakeSpeechRecognizer::appendAudio(const QByteArray& samples)
{
    m_audio.append(samples);
}

void FakeSpeechRecognizer::endAudio()
{
    m_audioEnded = true;
    if (m_answersAtEnd)
        m_finalTimer.start();
}

void FakeSpeechRecognizer::cancel()
{
    m_finalTimer.stop();
    ++m_cancels;
}

void FakeSpeechRecognizer::finishLoading(Readiness readiness)
{
    m_readiness = readiness;
    emit readinessChanged();
}

void FakeSpeechRecognizer::hear(const QString& partial)
{
    m_lastPartial = partial;
    emit transcribed(partial, false);
}

void FakeSpeechRecognizer::fail(const Error& error)
{
    emit failed(error);
}
