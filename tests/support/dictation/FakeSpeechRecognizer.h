#pragma once

#include "desktop/SpeechRecognizer.h"

#include <QTimer>
#include <optional>

// A recogniser the test scripts: it hears nothing, says what it is told, and keeps what it was fed.
// By default it answers endAudio() with the last partial transcript, or the one set, after
// finalDelayMs; without an answer set (setAnswersAtEnd(false)) it never sends a final result.
class FakeSpeechRecognizer : public SpeechRecognizer
{
    Q_OBJECT
public:
    explicit FakeSpeechRecognizer(Readiness readiness = Readiness::Ready, QObject* parent = nullptr);

    Readiness readiness() const override { return m_readiness; }
    void beginUtterance() override;
    void appendAudio(const QByteArray& samples) override;
    void endAudio() override;
    void cancel() override;

    void finishLoading(Readiness readiness);
    void hear(const QString& partial);
    void fail(const Error& error);
    void setFinalTranscript(const QString& text) { m_final = text; }
    void setFinalDelayMs(int delayMs) { m_finalTimer.setInterval(delayMs); }
    void setAnswersAtEnd(bool answers) { m_answersAtEnd = answers; }

    int utterances() const { return m_utterances; }
    int cancels() const { return m_cancels; }
    bool audioEnded() const { return m_audioEnded; }
    // The audio of the current utterance.
    const QByteArray& audio() const { return m_audio; }

private:
    Readiness m_readiness;
    std::optional<QString> m_final;
    QString m_lastPartial;
    bool m_answersAtEnd = true;
    QTimer m_finalTimer;
    QByteArray m_audio;
    bool m_audioEnded = false;
    int m_utterances = 0;
    int m_cancels = 0;
};
