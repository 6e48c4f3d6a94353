#pragma once

#include "config/AgentConfig.h"
#include "protocol/AskEvent.h"
#include "service/AuthClient.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <optional>

class AccessibilitySwitch;
class AskStream;
class VoiceCheck;
struct VoiceStatus;

// The state behind the home window: whether the stored account works, whether the shortcut, accessibility
// and voice are in place, and the self test. Texts are in the product's own words; the view localizes them.
class HomeModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool hasConfig READ hasConfig NOTIFY configChanged)
    Q_PROPERTY(QString server READ server NOTIFY serverChanged)
    Q_PROPERTY(bool serverOK READ serverOK NOTIFY serverOKChanged)
    Q_PROPERTY(bool accessibility READ accessibility NOTIFY accessibilityChanged)
    Q_PROPERTY(QString accessibilityNote READ accessibilityNote NOTIFY accessibilityNoteChanged)
    Q_PROPERTY(bool microphone READ microphone NOTIFY microphoneChanged)
    Q_PROPERTY(bool speech READ speech NOTIFY speechChanged)
    Q_PROPERTY(QString voiceDetail READ voiceDetail NOTIFY voiceDetailChanged)
    Q_PROPERTY(bool hotKeyOK READ hotKeyOK WRITE setHotKeyOK NOTIFY hotKeyOKChanged)
    Q_PROPERTY(QString testInput READ testInput WRITE setTestInput NOTIFY testInputChanged)
    Q_PROPERTY(QString testOutput READ testOutput NOTIFY testOutputChanged)
    Q_PROPERTY(bool testing READ testing NOTIFY testingChanged)

public:
    HomeModel(AccessibilitySwitch& accessibilitySwitch, VoiceCheck& voiceCheck, QObject* parent = nullptr);
    ~HomeModel() override;

    const std::optional<AgentConfig>& config() const { return m_config; }
    bool hasConfig() const { return m_config.has_value(); }
    const std::optional<AuthClient::User>& account() const { return m_account; }
    QString server() const { return m_server; }
    bool serverOK() const { return m_serverOK; }
    bool accessibility() const { return m_accessibility; }
    QString accessibilityNote() const { return m_accessibilityNote; }
    bool microphone() const { return m_microphone; }
    bool speech() const { return m_speech; }
    QString voiceDetail() const { return m_voiceDetail; }
    bool hotKeyOK() const { return m_hotKeyOK; }
    QString testInput() const { return m_testInput; }
    QString testOutput() const { return m_testOutput; }
    bool testing() const { return m_testing; }

    void setHotKeyOK(bool ok);
    void setTestInput(const QString& text);

    // Reads the configuration, accessibility and voice afresh and checks the account with the service.
    // Overlapping refreshes each apply their answer when it arrives, so the last answer wins.
    void refresh();
    // Asks the service the test input as if from an application called "Tavrin".
    void runTest();
    // Turns the desktop's accessibility switch on and says which running applications must restart.
    void grantAccessibility();
    // Asks for microphone access where the desktop grants it, then refreshes.
    void allowVoice();

signals:
    void configChanged();
    void accountChanged();
    void serverChanged();
    void serverOKChanged();
    void accessibilityChanged();
    void accessibilityNoteChanged();
    void microphoneChanged();
    void speechChanged();
    void voiceDetailChanged();
    void hotKeyOKChanged();
    void testInputChanged();
    void testOutputChanged();
    void testingChanged();

private:
    void setConfig(const std::optional<AgentConfig>& config);
    void setAccount(const std::optional<AuthClient::User>& account);
    void applyAccountCheck(const Result<AuthClient::User>& answer);
    void applyVoice(const VoiceStatus& status);
    void applyTestEvent(const AskEvent& event);
    template <typename T> void assign(T& member, const T& value, void (HomeModel::*changed)());

    AccessibilitySwitch& m_accessibilitySwitch;
    VoiceCheck& m_voiceCheck;
    std::optional<AgentConfig> m_config;
    QString m_server = QStringLiteral("Checking…");
    bool m_serverOK = false;
    bool m_accessibility = false;
    QString m_accessibilityNote;
    bool m_microphone = false;
    bool m_speech = false;
    QString m_voiceDetail = QStringLiteral("Needed for voice requests");
    bool m_hotKeyOK = true;
    QString m_testInput;
    QString m_testOutput;
    bool m_testing = false;
    std::optional<AuthClient::User> m_account;
    QPointer<AskStream> m_test;
    // The context of every request; declared last, so that its requests end while the state still exists.
    QObject m_requests;
};
