#pragma once

#include "desktop/AudioInput.h"

// A microphone the test speaks into: capture() delivers samples only while it is open.
class FakeAudioInput : public AudioInput
{
    Q_OBJECT
public:
    using AudioInput::AudioInput;

    std::optional<Error> open() override;
    void close() override;
    bool isOpen() const override { return m_open; }
    bool hasInput() const override { return m_hasInput; }

    void setOpenError(const std::optional<Error>& error) { m_openError = error; }
    void setHasInput(bool hasInput) { m_hasInput = hasInput; }
    void capture(const QByteArray& samples);

    int openCount() const { return m_openCount; }

private:
    std::optional<Error> m_openError;
    bool m_hasInput = true;
    bool m_open = false;
    int m_openCount = 0;
};
