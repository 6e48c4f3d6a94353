#pragma once

#include "desktop/AudioInput.h"

// A microphone the test speaks into: capture() delivers samples only while it is open.
class FakeAudioInput : public AudioInput
{
    Q_OBJECT
public:
    using AudioInput::AudioInput;

    Result<void> open() override
    {
        if (openError)
            return *openError;
        m_open = true;
        return {};
    }
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open; }
    bool hasInput() const override { return true; }

    void capture(const QByteArray& samples)
    {
        if (m_open)
            emit captured(samples);
    }

    std::optional<Error> openError;

private:
    bool m_open = false;
};
