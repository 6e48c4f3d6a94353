#include "FakeAudioInput.h"

std::optional<Error> FakeAudioInput::open()
{
    if (m_openError)
        return m_openError;
    m_open = true;
    ++m_openCount;
    return std::nullopt;
}

void FakeAudioInput::close()
{
    m_open = false;
}

void FakeAudioInput::capture(const QByteArray& samples)
{
    if (m_open)
        emit captured(samples);
}
