#pragma once

#include "desktop/AudioInput.h"
#include "desktop/audio/PcmConverter.h"
#include "desktop/audio/PulseDefaultSource.h"

#include <QAudioDevice>
#include <QAudioSource>
#include <QPointer>
#include <memory>
#include <optional>

// The microphone through Qt Multimedia. Without a device id it captures from the sound server's default
// input; with one, from the input of that id.
class QtAudioInput : public AudioInput
{
    Q_OBJECT
public:
    explicit QtAudioInput(QByteArray deviceId = {}, QObject* parent = nullptr);
    ~QtAudioInput() override;

    Result<void> open() override;
    void close() override;
    bool isOpen() const override { return m_source != nullptr || m_awaitingDefault; }
    bool hasInput() const override;

private:
    Result<void> startStream();
    QAudioDevice chooseDevice();
    void readAvailable();

    QByteArray m_deviceId;
    PulseDefaultSource m_defaultSource;
    std::unique_ptr<QAudioSource> m_source;
    QPointer<QIODevice> m_stream;
    std::optional<PcmConverter> m_converter;
    // open() was called before the sound server named its default input.
    bool m_awaitingDefault = false;
};
