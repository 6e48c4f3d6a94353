#include "desktop/pocketsphinx/PocketSphinxRecognizer.h"

#include "desktop/pocketsphinx/SphinxDecoder.h"

PocketSphinxRecognizer::PocketSphinxRecognizer(const QString& modelDir, QObject* parent)
    : SpeechRecognizer(parent), m_decoder(std::make_unique<SphinxDecoder>(m_wanted))
{
    m_thread.setObjectName(QStringLiteral("speech recognition"));
    m_decoder->moveToThread(&m_thread);
    connect(m_decoder.get(), &SphinxDecoder::loaded, this, &PocketSphinxRecognizer::onLoaded);
    connect(m_decoder.get(), &SphinxDecoder::hypothesis, this, &PocketSphinxRecognizer::onHypothesis);
    connect(m_decoder.get(), &SphinxDecoder::failed, this, &PocketSphinxRecognizer::onFailed);
    m_thread.start();
    QMetaObject::invokeMethod(m_decoder.get(),
                              [decoder = m_decoder.get(), modelDir] { decoder->load(modelDir); });
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

void PocketSphinxRecognizer::beginUtterance()
{
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
    const quint64 utterance = m_wanted.load();
    QMetaObject::invokeMethod(m_decoder.get(),
                              [decoder = m_decoder.get(), utterance] { decoder->end(utterance); });
}

void PocketSphinxRecognizer::cancel()
{
    m_wanted.store(0);
    QMetaObject::invokeMethod(m_decoder.get(), [decoder = m_decoder.get()] { decoder->abandon(); });
}

void PocketSphinxRecognizer::onLoaded(bool ok)
{
    m_readiness = ok ? Readiness::Ready : Readiness::Unavailable;
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
