#pragma once

#include "desktop/VoiceCheck.h"

#include <QObject>
#include <QString>
#include <memory>

class MicrophonePortal;

// Dictation's needs on Linux: an input offered by the sound server, and every file of the pocketsphinx
// model. The model itself loads only when dictation needs it.
class SystemVoiceCheck : public QObject, public VoiceCheck
{
    Q_OBJECT
public:
    // With a portal, "Allow…" asks the desktop for the microphone before it looks again.
    explicit SystemVoiceCheck(QString modelDir = defaultModelDir(),
                              std::unique_ptr<MicrophonePortal> portal = nullptr, QObject* parent = nullptr);
    ~SystemVoiceCheck() override;

    static QString defaultModelDir();

    void check(QObject* context, StatusHandler onStatus) override;
    void requestAccess(QObject* context, StatusHandler onStatus) override;

private:
    VoiceStatus status() const;

    QString m_modelDir;
    std::unique_ptr<MicrophonePortal> m_portal;
};
