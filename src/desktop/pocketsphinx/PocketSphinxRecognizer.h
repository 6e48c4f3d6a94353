#pragma once

#include "desktop/SpeechRecognizer.h"

#include <QThread>
#include <atomic>
#include <memory>

class SphinxDecoder;

// Offline recognition of US English by pocketsphinx. The model loads on construction and decoding runs
// on a thread of its own; results come back to the recogniser's thread.
class PocketSphinxRecognizer : public SpeechRecognizer
{
    Q_OBJECT
public:
    explicit PocketSphinxRecognizer(const QString& modelDir = defaultModelDir(), QObject* parent = nullptr);
    ~PocketSphinxRecognizer() override;

    static QString defaultModelDir();

    Readiness readiness() const override { return m_readiness; }
    void beginUtterance() override;
    void appendAudio(const QByteArray& samples) override;
    void endAudio() override;
    void cancel() override;

private:
    void onLoaded(bool ok);
    void onHypothesis(quint64 utterance, const QString& text, bool isFinal);
    void onFailed(quint64 utterance, const QString& message);

    Readiness m_readiness = Readiness::Loading;
    quint64 m_lastUtterance = 0;
    // The utterance whose audio is still wanted; 0 for none. Read by the decoding thread.
    std::atomic<quint64> m_wanted{0};
    QThread m_thread;
    std::unique_ptr<SphinxDecoder> m_decoder;
};
