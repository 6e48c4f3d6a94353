#pragma once

#include "desktop/SpeechRecognizer.h"

#include <QThread>
#include <QTimer>
#include <atomic>
#include <memory>

class SphinxDecoder;

// Offline recognition of US English by pocketsphinx. The model weighs about 80 MB: it loads on the
// decoding thread at prepare() and is released again after a few idle minutes, so that the idle
// application does not carry it. Results come back to the recogniser's thread.
class PocketSphinxRecognizer : public SpeechRecognizer
{
    Q_OBJECT
public:
    // The model is released this long after the last utterance, or after a prepare() that no
    // utterance followed.
    static constexpr int releaseAfterIdleMs = 3 * 60 * 1000;
    static constexpr int releaseUnusedAfterMs = 20 * 1000;

    explicit PocketSphinxRecognizer(const QString& modelDir = defaultModelDir(), QObject* parent = nullptr);
    ~PocketSphinxRecognizer() override;

    static QString defaultModelDir();
    // Whether every file the decoder reads is there and readable, without loading any of them.
    static bool modelInstalled(const QString& modelDir);

    Readiness readiness() const override { return m_readiness; }
    void prepare() override;
    void beginUtterance() override;
    void appendAudio(const QByteArray& samples) override;
    void endAudio() override;
    void cancel() override;

private:
    void onLoaded(bool ok);
    void onHypothesis(quint64 utterance, const QString& text, bool isFinal);
    void onFailed(quint64 utterance, const QString& message);
    void releaseModel();
    void setReadiness(Readiness readiness);

    Readiness m_readiness;
    bool m_loading = false;
    quint64 m_lastUtterance = 0;
    // The utterance whose audio is still wanted; 0 for none. Read by the decoding thread.
    std::atomic<quint64> m_wanted{0};
    QTimer m_idleRelease;
    QThread m_thread;
    std::unique_ptr<SphinxDecoder> m_decoder;
};
