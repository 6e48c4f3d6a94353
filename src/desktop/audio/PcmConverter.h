#pragma once

#include <QAudioFormat>
#include <QByteArray>

// Turns captured audio in the device's own format into 16 kHz mono signed 16-bit samples: channels are
// averaged and the rate is changed by linear interpolation, carried across chunks.
class PcmConverter
{
public:
    static QAudioFormat targetFormat();

    explicit PcmConverter(const QAudioFormat& source);

    QByteArray convert(const QByteArray& bytes);

private:
    float monoSample(const char* frame) const;
    float channelSample(const char* sample) const;

    QAudioFormat m_source;
    QByteArray m_partialFrame;
    double m_step;
    // Where the next output sample falls, in input frames counted from the last frame kept.
    double m_position = 0.0;
    float m_previous = 0.0f;
    bool m_havePrevious = false;
};
