#pragma once

#include "base/Result.h"

#include <QByteArray>
#include <QObject>
#include <optional>

// The microphone: 16 kHz mono signed 16-bit little-endian samples, delivered in chunks on the thread the
// object lives on while it is open.
class AudioInput : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // Begins capturing; the error says why the microphone could not be opened.
    virtual Result<void> open() = 0;
    // Stops capturing at once; nothing more is delivered until the next open().
    virtual void close() = 0;
    virtual bool isOpen() const = 0;
    // Whether there is an input to capture from at all.
    virtual bool hasInput() const = 0;

signals:
    void captured(const QByteArray& samples);
};
