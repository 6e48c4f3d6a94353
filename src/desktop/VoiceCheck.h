#pragma once

#include <QObject>
#include <QString>
#include <functional>

// What dictation needs from the computer: a microphone, and a speech model that loads. When something is
// missing, the help text says what and how to get it.
struct VoiceStatus
{
    bool microphone = false;
    bool speech = false;
    QString microphoneHelp;
    QString speechHelp;

    bool ready() const { return microphone && speech; }
};

// Looks at the computer's voice equipment. Answers arrive later on the caller's thread, and not at all
// once the context object is gone.
class VoiceCheck
{
public:
    using StatusHandler = std::function<void(const VoiceStatus&)>;

    virtual ~VoiceCheck() = default;

    virtual void check(QObject* context, StatusHandler onStatus) = 0;
    // Asks for microphone access where the desktop grants it per application, then checks again.
    virtual void requestAccess(QObject* context, StatusHandler onStatus) = 0;
};
