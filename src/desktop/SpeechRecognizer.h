#pragma once

#include "base/Error.h"

#include <QByteArray>
#include <QObject>
#include <QString>

// Turns the audio of one utterance at a time into text. Results arrive on the thread the object lives on.
// After cancel() or a new beginUtterance(), nothing more is reported about the previous utterance.
class SpeechRecognizer : public QObject
{
    Q_OBJECT
public:
    // Loading may take a while: Loading until it is known whether recognition can work at all.
    enum class Readiness { Loading, Ready, Unavailable };

    using QObject::QObject;

    virtual Readiness readiness() const = 0;

    // An utterance may follow soon: a recogniser that loads its model on demand starts loading now.
    virtual void prepare() {}

    virtual void beginUtterance() = 0;
    // 16 kHz mono signed 16-bit little-endian samples.
    virtual void appendAudio(const QByteArray& samples) = 0;
    // No more audio follows: the final transcript comes next.
    virtual void endAudio() = 0;
    virtual void cancel() = 0;

signals:
    // Emitted when readiness() changes.
    void readinessChanged();
    // The best transcript of the current utterance so far; `isFinal` on the last one.
    void transcribed(const QString& text, bool isFinal);
    void failed(const Error& error);
};
