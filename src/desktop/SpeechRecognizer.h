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
    // Unloaded: recognition can work once prepare() has loaded the model, which may take a while;
    // Ready: utterances can begin; Unavailable: recognition cannot work (no model, or it failed to load).
    enum class Readiness { Unloaded, Ready, Unavailable };

    using QObject::QObject;

    virtual Readiness readiness() const = 0;

    // An utterance may follow soon: an unloaded model starts loading, off the caller's thread.
    virtual void prepare() = 0;

    // Only when Ready.
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
