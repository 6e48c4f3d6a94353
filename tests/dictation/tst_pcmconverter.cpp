#include "desktop/audio/PcmConverter.h"

#include <QTest>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <vector>

namespace {

QAudioFormat formatOf(int rate, int channels, QAudioFormat::SampleFormat sampleFormat)
{
    QAudioFormat format;
    format.setSampleRate(rate);
    format.setChannelCount(channels);
    format.setSampleFormat(sampleFormat);
    return format;
}

// One second of a 440 Hz tone at half amplitude, in the given format, the same on every channel.
QByteArray tone(const QAudioFormat& format)
{
    QByteArray bytes;
    const auto put = [&bytes](auto sample) {
        bytes.append(reinterpret_cast<const char*>(&sample), sizeof sample);
    };
    for (int i = 0; i < format.sampleRate(); ++i) {
        const double value = 0.5 * std::sin(2 * std::numbers::pi * 440 * i / format.sampleRate());
        for (int channel = 0; channel < format.channelCount(); ++channel) {
            if (format.sampleFormat() == QAudioFormat::Float)
                put(float(value));
            else
                put(std::int16_t(std::lround(value * 32767.0)));
        }
    }
    return bytes;
}

} // namespace

class TestPcmConverter : public QObject
{
    Q_OBJECT

private slots:
    void anyFormatBecomesTheToneAt16kHz_data()
    {
        QTest::addColumn<QAudioFormat>("format");
        QTest::newRow("48 kHz stereo float") << formatOf(48000, 2, QAudioFormat::Float);
        QTest::newRow("44.1 kHz stereo 16-bit") << formatOf(44100, 2, QAudioFormat::Int16);
    }
    void anyFormatBecomesTheToneAt16kHz()
    {
        QFETCH(QAudioFormat, format);
        const QByteArray input = tone(format);

        // Odd chunk sizes split frames and samples; the result must not depend on them.
        PcmConverter converter(format);
        QByteArray output;
        for (qsizetype at = 0; at < input.size(); at += 1001)
            output += converter.convert(input.mid(at, 1001));
        QCOMPARE(output, PcmConverter(format).convert(input));

        std::vector<std::int16_t> samples(size_t(output.size()) / 2);
        std::memcpy(samples.data(), output.constData(), samples.size() * 2);
        QVERIFY(std::abs(int(samples.size()) - 16000) <= 2);
        for (size_t i = 0; i < samples.size(); i += 97) {
            const double expected = 0.5 * 32767 * std::sin(2 * std::numbers::pi * 440 * double(i) / 16000);
            QVERIFY2(std::abs(samples[i] - expected) < 0.03 * 32767, qPrintable(QString::number(i)));
        }
    }
};

QTEST_GUILESS_MAIN(TestPcmConverter)
#include "tst_pcmconverter.moc"
