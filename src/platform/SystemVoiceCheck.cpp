#include "platform/SystemVoiceCheck.h"

#include "desktop/pocketsphinx/PocketSphinxRecognizer.h"
#include "platform/MicrophonePortal.h"

#include <QAudioDevice>
#include <QDir>
#include <QMediaDevices>

SystemVoiceCheck::SystemVoiceCheck(QString modelDir, std::unique_ptr<MicrophonePortal> portal,
                                   QObject* parent)
    : QObject(parent), m_modelDir(std::move(modelDir)), m_portal(std::move(portal))
{}

SystemVoiceCheck::~SystemVoiceCheck() = default;

QString SystemVoiceCheck::defaultModelDir()
{
    return PocketSphinxRecognizer::defaultModelDir();
}

void SystemVoiceCheck::check(QObject* context, StatusHandler onStatus)
{
    // Only file metadata is read here: loading the model for a trial would hold a second copy of it.
    QMetaObject::invokeMethod(
        context, [status = status(), onStatus = std::move(onStatus)] { onStatus(status); },
        Qt::QueuedConnection);
}

void SystemVoiceCheck::requestAccess(QObject* context, StatusHandler onStatus)
{
    if (!m_portal) {
        check(context, std::move(onStatus));
        return;
    }
    // The portal calls back only while the context lives.
    m_portal->ask(context, [this, context, onStatus = std::move(onStatus)] { check(context, onStatus); });
}

VoiceStatus SystemVoiceCheck::status() const
{
    VoiceStatus result;
    result.microphone = !QMediaDevices::audioInputs().isEmpty();
    if (!result.microphone)
        result.microphoneHelp =
            QStringLiteral("No microphone found: connect one, or turn on an input in the sound settings.");
    result.speech = PocketSphinxRecognizer::modelInstalled(m_modelDir);
    if (!result.speech) {
        const bool installed = QDir(m_modelDir + QStringLiteral("/en-us")).exists();
        result.speechHelp = installed
                                ? QStringLiteral("The speech model in %1 is incomplete: reinstall the "
                                                 "pocketsphinx-en-us package.")
                                      .arg(m_modelDir)
                                : QStringLiteral("No speech model: install the pocketsphinx-en-us package.");
    }
    return result;
}
