#include "desktop/pocketsphinx/PocketSphinxRecognizer.h"

#include "desktop/pocketsphinx/SphinxDecoder.h"

#include <QFileInfo>
#include <QStringList>
#include <algorithm>
#include <utility>

PocketSphinxRecognizer::PocketSphinxRecognizer(const QString& modelDir, QObject* parent)
    : SpeechRecognizer(parent),
      m_readiness(modelInstalled(modelDir) ? Readiness::Unloaded : Readiness::Unavailable),
      m_decoder(std::make_unique<SphinxDecoder>(modelDir, m_wanted))
{
    m_idleRelease.setSingleShot(true);
    connect(&m_idleRelease, &QTimer::timeout, this, &PocketSphinxRecognizer::releaseModel);
    m_thread.setObjectName(QStringLiteral("speech recognition"));
    m_decoder->moveToThread(&m_thread);
    connect(m_decoder.get(), &SphinxDecoder::loaded, this, &PocketSphinxRecognizer::onLoaded);
    connect(m_decoder.get(), &SphinxDecoder::hypothesis, this, &PocketSphinxRecognizer::onHypothesis);
    connect(m_decoder.get(), &SphinxDecoder::failed, this, &PocketSphinxRecognizer::onFailed);
    m_thread.start();
}

PocketSphinxRecognizer::~PocketSphinxRecognizer()
{
    m_wanted.store(0);
    m_thread.quit();
    m_thread.wait();
}

QString PocketSphinxRecognizer::defaultModelDir()
{
    return QStringLiteral(TAVRIN_POCKETSPHINX_MODELDIR);
}

bool PocketSphinxRecognizer::modelInstalled(const QString& modelDir)
{
    const QStringList files{QStringLiteral("en-us/en-us/mdef"),
                            QStringLiteral("en-us/en-us/means"),
                            QStringLiteral("en-us/en-us/variances"),
                            QStringLiteral("en-us/en-us/sendump"),
                            QStringLiteral("en-us/en-us/transition_matrices"),
                            QStringLiteral("en-us/en-us/feat.params"),
                            QStringLiteral("en-us/en-us.lm.bin"),
                            QStringLiteral("en-us/cmudict-en-us.dict")};
    return std::all_of(files.cbegin(), files.cend(), [&modelDir](const QString& file) {
        const QFileInfo info(modelDir + QLatin1Char('/') + file);
        return info.isFile() && info.isReadable() && info.size() > 0;
    });
}

void PocketSphinxRecognizer::prepare()
{
    // A press that stays a tap (the user types) keeps the model only briefly; a dictation keeps it for
    // the idle minutes.
    if (!m_idleRelease.isActive())
        m_idleRelease.start(releaseUnusedAfterMs);
    if (m_readiness != Readiness::Unloaded || std::exchange(m_loading, true))
        return;
    QMetaObject::invokeMethod(m_decoder.get(), &SphinxDecoder::preload);
}

void PocketSphinxRecognizer::beginUtterance()
{
    m_idleRelease.stop();
    const quint64 utterance = ++m_lastUtterance;
    m_wanted.store(utterance);
    QMetaObject::invokeMethod(m_decoder.get(),
                              [decoder = m_decoder.get(), utterance] { decoder->begin(utterance); });
}

void PocketSphinxRecognizer::appendAudio(const QByteArray& samples)
{
    const quint64 utterance = m_wanted.load();
    QMetaObject::invokeMethod(m_decoder.get(), [decoder = m_decoder.get(), utterance, samples] {
        decoder->feed(utterance, samples);
    });
}

void PocketSphinxRecognizer::endAudio()
{
    m_idleRelease.start(releaseAfterIdleMs);
    const quint64 utterance = m_wanted.load();
    QMetaObject::invokeMethod(m_decoder.get(),
                              [decoder = m_decoder.get(), utterance] { decoder->end(utterance); });
}

void PocketSphinxRecognizer::cancel()
{
    if (m_wanted.exchange(0) != 0)
        m_idleRelease.start(releaseAfterIdleMs);
    QMetaObject::invokeMethod(m_decoder.get(), [decoder = m_decoder.get()] { decoder->abandon(); });
}

void PocketSphinxRecognizer::releaseModel()
{
    if (m_loading) { // released once it has loaded
        m_idleRelease.start(releaseUnusedAfterMs);
        return;
    }
    if (m_readiness != Readiness::Ready)
        return;
    QMetaObject::invokeMethod(m_decoder.get(), &SphinxDecoder::release);
    setReadiness(Readiness::Unloaded);
}

void PocketSphinxRecognizer::onLoaded(bool ok)
{
    m_loading = false;
    setReadiness(ok ? Readiness::Ready : Readiness::Unavailable);
}

void PocketSphinxRecognizer::setReadiness(Readiness readiness)
{
    if (readiness == m_readiness)
        return;
    m_readiness = readiness;
    emit readinessChanged();
}

void PocketSphinxRecognizer::onHypothesis(quint64 utterance, const QString& text, bool isFinal)
{
    if (utterance == m_wanted.load())
        emit transcribed(text, isFinal);
}

void PocketSphinxRecognizer::onFailed(quint64 utterance, const QString& message)
{
    if (utterance == m_wanted.load())
        emit failed({QStringLiteral("Dictation"), 1, message});
}
