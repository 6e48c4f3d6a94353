#include "desktop/pocketsphinx/SphinxDecoder.h"

#include <QFile>
#include <malloc.h>
#include <pocketsphinx.h>
#include <sphinxbase/err.h>
#include <utility>

SphinxDecoder::SphinxDecoder(QString modelDir, const std::atomic<quint64>& wanted, QObject* parent)
    : QObject(parent), m_modelDir(std::move(modelDir)), m_wanted(wanted)
{
    // Freeing the model's large blocks makes the allocator raise its trim threshold, and the top of this
    // thread's heap (about 10 MB) would then stay resident after a release; a fixed threshold returns it.
    mallopt(M_TRIM_THRESHOLD, 128 * 1024);
}

SphinxDecoder::~SphinxDecoder()
{
    if (m_decoder)
        ps_free(m_decoder);
}

void SphinxDecoder::preload()
{
    ensureLoaded();
}

void SphinxDecoder::release()
{
    if (!m_decoder)
        return;
    abandon();
    ps_free(m_decoder);
    m_decoder = nullptr;
    // The model lives in tens of thousands of small blocks; without a trim the freed heap stays resident.
    malloc_trim(0);
}

bool SphinxDecoder::ensureLoaded()
{
    if (m_decoder)
        return true;
    // The library logs every step of its work; nothing of it is meant for the user.
    err_set_logfp(nullptr);
    const QByteArray acoustic = QFile::encodeName(m_modelDir + QStringLiteral("/en-us/en-us"));
    const QByteArray language = QFile::encodeName(m_modelDir + QStringLiteral("/en-us/en-us.lm.bin"));
    const QByteArray dictionary = QFile::encodeName(m_modelDir + QStringLiteral("/en-us/cmudict-en-us.dict"));
    // Without the flat-lexicon pass the final result follows the end of the audio within tens of ms.
    cmd_ln_t* config =
        cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", acoustic.constData(), "-lm", language.constData(),
                    "-dict", dictionary.constData(), "-fwdflat", "no", nullptr);
    if (config) {
        m_decoder = ps_init(config);
        cmd_ln_free_r(config);
    }
    emit loaded(m_decoder != nullptr);
    return m_decoder != nullptr;
}

void SphinxDecoder::begin(quint64 utterance)
{
    abandon();
    if (utterance != m_wanted.load())
        return;
    if (!ensureLoaded() || ps_start_utt(m_decoder) < 0) {
        emit failed(utterance, QStringLiteral("Speech recognition could not start"));
        return;
    }
    m_utterance = utterance;
    m_inUtterance = true;
    m_lastHypothesis.clear();
}

void SphinxDecoder::feed(quint64 utterance, const QByteArray& samples)
{
    if (!m_inUtterance || utterance != m_utterance || utterance != m_wanted.load())
        return;
    const auto* data = reinterpret_cast<const int16*>(samples.constData());
    if (ps_process_raw(m_decoder, data, size_t(samples.size()) / sizeof(int16), FALSE, FALSE) < 0) {
        abandon();
        emit failed(utterance, QStringLiteral("Speech recognition failed"));
        return;
    }
    const QString text = currentHypothesis();
    if (text != m_lastHypothesis) {
        m_lastHypothesis = text;
        emit hypothesis(utterance, text, false);
    }
}

void SphinxDecoder::end(quint64 utterance)
{
    if (!m_inUtterance || utterance != m_utterance)
        return;
    m_inUtterance = false;
    if (ps_end_utt(m_decoder) < 0) {
        emit failed(utterance, QStringLiteral("Speech recognition failed"));
        return;
    }
    emit hypothesis(utterance, currentHypothesis(), true);
}

void SphinxDecoder::abandon()
{
    if (!m_inUtterance)
        return;
    m_inUtterance = false;
    ps_end_utt(m_decoder);
}

QString SphinxDecoder::currentHypothesis() const
{
    const char* text = ps_get_hyp(m_decoder, nullptr);
    return text ? QString::fromUtf8(text) : QString();
}
