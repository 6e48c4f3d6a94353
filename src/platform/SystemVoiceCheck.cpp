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
    m_waiting.append({context, std::move(onStatus)});
    if (m_modelLoaded) {
        QMetaObject::invokeMethod(this, &SystemVoiceCheck::onModelLoaded, Qt::QueuedConnection);
        return;
    }
    if (m_trial)
        return;
    // Loading takes a fraction of a second on the recogniser's own thread; the trial goes once it is known.
    m_trial = std::make_unique<PocketSphinxRecognizer>(m_modelDir);
    connect(m_trial.get(), &SpeechRecognizer::readinessChanged, this, &SystemVoiceCheck::onModelLoaded);
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

void SystemVoiceCheck::onModelLoaded()
{
    if (m_trial) {
        m_modelLoaded = m_trial->readiness() == SpeechRecognizer::Readiness::Ready;
        m_trial.release()->deleteLater();
    }
    const VoiceStatus current = status();
    const QList<Waiting> waiting = std::exchange(m_waiting, {});
    for (const Waiting& each : waiting) {
        if (each.context)
            each.onStatus(current);
    }
}

VoiceStatus SystemVoiceCheck::status() const
{
    VoiceStatus result;
    result.microphone = !QMediaDevices::audioInputs().isEmpty();
    if (!result.microphone)
        result.microphoneHelp =
            QStringLiteral("No microphone found: connect one, or turn on an input in the sound settings.");
    result.speech = m_modelLoaded;
    if (!result.speech) {
        const bool installed = QDir(m_modelDir + QStringLiteral("/en-us")).exists();
        result.speechHelp = installed
                                ? QStringLiteral("The speech model in %1 did not load: reinstall the "
                                                 "pocketsphinx-en-us package.")
                                      .arg(m_modelDir)
                                : QStringLiteral("No speech model: install the pocketsphinx-en-us package.");
    }
    return result;
}
