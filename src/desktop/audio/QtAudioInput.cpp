#include "desktop/audio/QtAudioInput.h"

#include "desktop/audio/PulseDefaultSource.h"

#include <QMediaDevices>
#include <utility>

namespace {

// Small reads keep the partial transcripts close behind the voice.
constexpr int bufferMs = 40;

Error audioError(const QString& message)
{
    return {QStringLiteral("Audio"), 1, message};
}

} // namespace

QtAudioInput::QtAudioInput(QByteArray deviceId, QObject* parent)
    : AudioInput(parent), m_deviceId(std::move(deviceId))
{
    // A stream that failed to start here leaves the microphone closed: the next open() says why.
    connect(&m_defaultSource, &PulseDefaultSource::answered, this, [this] {
        if (std::exchange(m_awaitingDefault, false))
            startStream();
    });
}

QtAudioInput::~QtAudioInput()
{
    close();
}

bool QtAudioInput::hasInput() const
{
    return !QMediaDevices::audioInputs().isEmpty();
}

QAudioDevice QtAudioInput::chooseDevice()
{
    const QList<QAudioDevice> inputs = QMediaDevices::audioInputs();
    const QByteArray wanted = m_deviceId.isEmpty() ? m_defaultSource.name() : m_deviceId;
    for (const QAudioDevice& device : inputs) {
        if (device.id() == wanted)
            return device;
    }
    return m_deviceId.isEmpty() ? QMediaDevices::defaultAudioInput() : QAudioDevice();
}

Result<void> QtAudioInput::open()
{
    if (isOpen())
        return {};
    // Right after launch the sound server may not have named its default input yet, and Qt's own
    // default can be another input that hears nothing: the stream starts once the server has answered,
    // within the lookup's deadline.
    if (m_deviceId.isEmpty() && !m_defaultSource.hasAnswered() && hasInput()) {
        m_awaitingDefault = true;
        return {};
    }
    return startStream();
}

Result<void> QtAudioInput::startStream()
{
    const QAudioDevice device = chooseDevice();
    if (device.isNull())
        return audioError(QStringLiteral("No microphone was found"));

    QAudioFormat format = PcmConverter::targetFormat();
    if (!device.isFormatSupported(format))
        format = device.preferredFormat();
    m_converter.emplace(format);
    m_source = std::make_unique<QAudioSource>(device, format);
    m_source->setBufferSize(format.bytesForDuration(bufferMs * 1000));
    m_stream = m_source->start();
    if (!m_stream || m_source->error() != QAudio::NoError) {
        close();
        return audioError(
            QStringLiteral("The microphone \"%1\" could not be opened").arg(device.description()));
    }
    connect(m_stream, &QIODevice::readyRead, this, &QtAudioInput::readAvailable);
    return {};
}

void QtAudioInput::close()
{
    m_awaitingDefault = false;
    if (!m_source)
        return;
    // What the device already captured is the end of the last word: it is delivered once the stream
    // has stopped, so that a receiver may call close() again.
    const QByteArray last = m_stream ? m_converter->convert(m_stream->readAll()) : QByteArray();
    m_source->stop();
    m_source.reset();
    m_converter.reset();
    if (!last.isEmpty())
        emit captured(last);
}

void QtAudioInput::readAvailable()
{
    if (!m_stream || !m_converter)
        return;
    const QByteArray samples = m_converter->convert(m_stream->readAll());
    if (!samples.isEmpty())
        emit captured(samples);
}
