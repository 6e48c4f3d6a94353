#pragma once

#include "desktop/SpeechRecognizer.h"

#include <QTimer>

// A recogniser the test scripts: it says what it is told and keeps the audio of the current utterance.
// Its model loads when the test calls finishLoading().
// It answers endAudio() on the next turn of the event loop with the last partial transcript, unless
// setAnswersAtEnd(false) was called: then it never sends a final result.
class FakeSpeechRecognizer : public SpeechRecognizer
{
    Q_OBJECT
public:
    explicit FakeSpeechRecognizer(Readiness readiness = Readiness::Ready) : m_readiness(readiness)
    {
        m_final.setSingleShot(true);
        connect(&m_final, &QTimer::timeout, this, [this] { emit transcribed(m_lastPartial, true); });
    }

    Readiness readiness() const override { return m_readiness; }
    void prepare() override { ++prepares; }
    void beginUtterance() override
    {
        m_final.stop();
        audio.clear();
        m_lastPartial.clear();
        audioEnded = false;
        ++utterances;
    }
    void appendAudio(const QByteArray& samples) override { audio += samples; }
    void endAudio() override
    {
        audioEnded = true;
        if (m_answersAtEnd)
            m_final.start();
    }
    void cancel() override { m_final.stop(); }

    void finishLoading(Readiness readiness)
    {
        m_readiness = readiness;
        emit readinessChanged();
    }
    void hear(const QString& partial) { emit transcribed(m_lastPartial = partial, false); }
    void setAnswersAtEnd(bool answers) { m_answersAtEnd = answers; }

    QByteArray audio; // of the current utterance
    bool audioEnded = false;
    int prepares = 0;
    int utterances = 0;

private:
    Readiness m_readiness;
    QTimer m_final;
    QString m_lastPartial;
    bool m_answersAtEnd = true;
};
