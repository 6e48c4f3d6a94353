#pragma once

#include "desktop/VoiceCheck.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <memory>

class MicrophonePortal;
class SpeechRecognizer;

// Dictation's needs on Linux: an input offered by the sound server, and the pocketsphinx model, which
// counts as there only once it has actually loaded. A model that loaded once is not loaded again.
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
    struct Waiting
    {
        QPointer<QObject> context;
        StatusHandler onStatus;
    };

    void onModelLoaded();
    VoiceStatus status() const;

    QString m_modelDir;
    bool m_modelLoaded = false;
    std::unique_ptr<MicrophonePortal> m_portal;
    std::unique_ptr<SpeechRecognizer> m_trial;
    QList<Waiting> m_waiting;
};
