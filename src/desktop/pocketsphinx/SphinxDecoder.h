#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <atomic>

struct ps_decoder_s;

// The pocketsphinx decoder, living on a thread of its own: every call may take a while. The model loads
// when first needed (about 80 MB) and can be released again. Utterances are numbered by the caller; audio
// for an utterance that is no longer `wanted` is skipped unheard.
class SphinxDecoder : public QObject
{
    Q_OBJECT
public:
    SphinxDecoder(QString modelDir, const std::atomic<quint64>& wanted, QObject* parent = nullptr);
    ~SphinxDecoder() override;

    void preload();
    void release();
    void begin(quint64 utterance);
    void feed(quint64 utterance, const QByteArray& samples);
    void end(quint64 utterance);
    void abandon();

signals:
    void loaded(bool ok);
    void hypothesis(quint64 utterance, const QString& text, bool isFinal);
    void failed(quint64 utterance, const QString& message);

private:
    bool ensureLoaded();
    QString currentHypothesis() const;

    const QString m_modelDir;
    const std::atomic<quint64>& m_wanted;
    ps_decoder_s* m_decoder = nullptr;
    quint64 m_utterance = 0;
    bool m_inUtterance = false;
    QString m_lastHypothesis;
};
