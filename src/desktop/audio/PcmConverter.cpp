#include "desktop/audio/PcmConverter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

constexpr int targetRate = 16000;

template <typename T> T read(const char* bytes)
{
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

} // namespace

QAudioFormat PcmConverter::targetFormat()
{
    QAudioFormat format;
    format.setSampleRate(targetRate);
    format.setChannelCount(1);
    format.setSampleFormat(QAudioFormat::Int16);
    return format;
}

PcmConverter::PcmConverter(const QAudioFormat& source)
    : m_source(source), m_step(double(source.sampleRate()) / targetRate)
{}

QByteArray PcmConverter::convert(const QByteArray& bytes)
{
    if (m_source == targetFormat() && m_partialFrame.isEmpty() && bytes.size() % 2 == 0)
        return bytes;
    const int frameBytes = m_source.bytesPerFrame();
    QByteArray input = m_partialFrame + bytes;
    const qsizetype frames = input.size() / frameBytes;
    m_partialFrame = input.mid(frames * frameBytes);

    QByteArray output;
    output.reserve(qsizetype(double(frames) / m_step + 2) * 2);
    for (qsizetype i = 0; i < frames; ++i) {
        const float current = monoSample(input.constData() + i * frameBytes);
        if (!m_havePrevious) {
            m_previous = current;
            m_havePrevious = true;
            continue;
        }
        // Output samples between the previous frame (position 0) and this one (position 1).
        while (m_position <= 1.0) {
            const float value = m_previous + float(m_position) * (current - m_previous);
            const auto sample = std::int16_t(std::lround(std::clamp(value, -1.0f, 1.0f) * 32767.0f));
            output.append(reinterpret_cast<const char*>(&sample), sizeof sample);
            m_position += m_step;
        }
        m_position -= 1.0;
        m_previous = current;
    }
    return output;
}

float PcmConverter::monoSample(const char* frame) const
{
    const int channels = m_source.channelCount();
    const int sampleBytes = m_source.bytesPerSample();
    float sum = 0.0f;
    for (int channel = 0; channel < channels; ++channel)
        sum += channelSample(frame + channel * sampleBytes);
    return sum / float(channels);
}

float PcmConverter::channelSample(const char* sample) const
{
    switch (m_source.sampleFormat()) {
    case QAudioFormat::UInt8:
        return (float(read<std::uint8_t>(sample)) - 128.0f) / 128.0f;
    case QAudioFormat::Int16:
        return float(read<std::int16_t>(sample)) / 32768.0f;
    case QAudioFormat::Int32:
        return float(double(read<std::int32_t>(sample)) / 2147483648.0);
    case QAudioFormat::Float:
        return read<float>(sample);
    case QAudioFormat::Unknown:
    case QAudioFormat::NSampleFormats:
        break;
    }
    return 0.0f;
}
