#include "views/HomeModel.h"

#include "desktop/AccessibilitySwitch.h"
#include "desktop/VoiceCheck.h"
#include "service/AgentClient.h"

namespace {

QString accessibilityNoteFor(const Result<QStringList>& mustRestart)
{
    if (!mustRestart.ok())
        return mustRestart.error().message;
    if (mustRestart.value().isEmpty())
        return QStringLiteral("Turned on.");
    return QStringLiteral("Turned on. Restart %1 so that the agent can read them too.")
        .arg(mustRestart.value().join(QStringLiteral(", ")));
}

QString voiceDetailFor(const VoiceStatus& status)
{
    if (status.ready())
        return QStringLiteral("Hold ⌥Space and speak");
    QStringList problems;
    if (!status.microphone && !status.microphoneHelp.isEmpty())
        problems << status.microphoneHelp;
    if (!status.speech && !status.speechHelp.isEmpty())
        problems << status.speechHelp;
    return problems.isEmpty() ? QStringLiteral("Needed for voice requests") : problems.join(QLatin1Char(' '));
}

} // namespace

HomeModel::HomeModel(AccessibilitySwitch& accessibilitySwitch, VoiceCheck& voiceCheck, QObject* parent)
    : QObject(parent), m_accessibilitySwitch(accessibilitySwitch), m_voiceCheck(voiceCheck),
      m_config(AgentConfig::load())
{}

HomeModel::~HomeModel()
{
    if (m_test)
        m_test->cancel();
}

template <typename T> void HomeModel::assign(T& member, const T& value, void (HomeModel::*changed)())
{
    if (member == value)
        return;
    member = value;
    emit(this->*changed)();
}

void HomeModel::setHotKeyOK(bool ok)
{
    assign(m_hotKeyOK, ok, &HomeModel::hotKeyOKChanged);
}

void HomeModel::setTestInput(const QString& text)
{
    assign(m_testInput, text, &HomeModel::testInputChanged);
}

void HomeModel::setConfig(const std::optional<AgentConfig>& config)
{
    assign(m_config, config, &HomeModel::configChanged);
}

void HomeModel::setAccount(const std::optional<AuthClient::User>& account)
{
    assign(m_account, account, &HomeModel::accountChanged);
}

void HomeModel::refresh()
{
    setConfig(AgentConfig::load());
    m_accessibilitySwitch.readEnabled(&m_requests, [this](bool enabled) {
        assign(m_accessibility, enabled, &HomeModel::accessibilityChanged);
    });
    m_voiceCheck.check(&m_requests, [this](const VoiceStatus& status) { applyVoice(status); });
    if (!m_config) {
        assign(m_server, QStringLiteral("Not signed in"), &HomeModel::serverChanged);
        assign(m_serverOK, false, &HomeModel::serverOKChanged);
        setAccount(std::nullopt);
        return;
    }
    AuthClient::me(*m_config, &m_requests,
                   [this](const Result<AuthClient::User>& answer) { applyAccountCheck(answer); });
}

void HomeModel::applyAccountCheck(const Result<AuthClient::User>& answer)
{
    if (answer.ok()) {
        assign(m_serverOK, true, &HomeModel::serverOKChanged);
        setAccount(answer.value());
        assign(m_server, answer.value().email, &HomeModel::serverChanged);
        return;
    }
    const Error& error = answer.error();
    assign(m_serverOK, false, &HomeModel::serverOKChanged);
    setAccount(std::nullopt);
    const bool revoked =
        error.domain == AuthClient::failureDomain && error.message.contains(QLatin1String("unauthorized"));
    assign(m_server,
           revoked ? QStringLiteral("Signed out on the server. Sign in again.")
                   : QStringLiteral("Unreachable (%1)").arg(error.message),
           &HomeModel::serverChanged);
}

void HomeModel::applyVoice(const VoiceStatus& status)
{
    assign(m_microphone, status.microphone, &HomeModel::microphoneChanged);
    assign(m_speech, status.speech, &HomeModel::speechChanged);
    assign(m_voiceDetail, voiceDetailFor(status), &HomeModel::voiceDetailChanged);
}

void HomeModel::grantAccessibility()
{
    m_accessibilitySwitch.enable(&m_requests, [this](const Result<QStringList>& mustRestart) {
        assign(m_accessibilityNote, accessibilityNoteFor(mustRestart), &HomeModel::accessibilityNoteChanged);
        m_accessibilitySwitch.readEnabled(this, [this](bool enabled) {
            assign(m_accessibility, enabled, &HomeModel::accessibilityChanged);
        });
    });
}

void HomeModel::allowVoice()
{
    m_voiceCheck.requestAccess(&m_requests, [this](const VoiceStatus& status) {
        applyVoice(status);
        refresh();
    });
}

void HomeModel::runTest()
{
    if (!m_config || m_testInput.isEmpty())
        return;
    assign(m_testing, true, &HomeModel::testingChanged);
    assign(m_testOutput, QString(), &HomeModel::testOutputChanged);
    AskRequest request;
    request.text = m_testInput;
    request.app = QStringLiteral("Tavrin");
    if (m_test)
        m_test->cancel();
    m_test = AgentClient::ask(request, *m_config);
    connect(m_test, &AskStream::event, this, &HomeModel::applyTestEvent);
    connect(m_test, &AskStream::finished, this, [this](const Result<void>& outcome) {
        if (!outcome.ok())
            assign(m_testOutput, QStringLiteral("⚠️ ") + outcome.error().message,
                   &HomeModel::testOutputChanged);
        assign(m_testing, false, &HomeModel::testingChanged);
    });
}

void HomeModel::applyTestEvent(const AskEvent& event)
{
    QString output = m_testOutput;
    if (const auto* delta = std::get_if<AskEvents::Delta>(&event))
        output += delta->text;
    else if (const auto* link = std::get_if<AskEvents::Link>(&event))
        output = link->message;
    else if (const auto* done = std::get_if<AskEvents::Done>(&event))
        output += QStringLiteral("\n\n— %1 · %2s")
                      .arg(done->route, QString::asprintf("%.1f", double(done->ms) / 1000.0));
    else if (const auto* failure = std::get_if<AskEvents::Failure>(&event))
        output = QStringLiteral("⚠️ ") + failure->message;
    else if (std::holds_alternative<AskEvents::Reset>(event))
        output.clear();
    assign(m_testOutput, output, &HomeModel::testOutputChanged);
}
