#pragma once

#include "config/AgentConfig.h"
#include "service/AuthClient.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <functional>
#include <optional>

class WebAuthSession;

// The state and actions of the sign-in window: password, e-mailed code, pairing code and Google in the
// browser, with the invite step for a new account. The result is a saved configuration.
class SignInModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString server READ server WRITE setServer NOTIFY serverChanged)
    Q_PROPERTY(bool offersGoogle READ offersGoogle NOTIFY serverConfigChanged)
    Q_PROPERTY(bool offersEmailCode READ offersEmailCode NOTIFY serverConfigChanged)
    Q_PROPERTY(Mode mode READ mode WRITE setMode NOTIFY modeChanged)
    Q_PROPERTY(QString email READ email WRITE setEmail NOTIFY emailChanged)
    Q_PROPERTY(QString password READ password WRITE setPassword NOTIFY passwordChanged)
    Q_PROPERTY(QString code READ code WRITE setCode NOTIFY codeChanged)
    Q_PROPERTY(bool codeSent READ codeSent NOTIFY codeSentChanged)
    Q_PROPERTY(bool verifyCode READ verifyCode NOTIFY verifyCodeChanged)
    Q_PROPERTY(bool needsInvite READ needsInvite NOTIFY inviteTicketChanged)
    Q_PROPERTY(QString invite READ invite WRITE setInvite NOTIFY inviteChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)

public:
    enum class Mode { Password, Code, Pairing };
    Q_ENUM(Mode)

    // The reference service's own address, for a computer that was never signed in.
    static inline const QString defaultServerURL = QStringLiteral("http://127.0.0.1:8080");

    explicit SignInModel(WebAuthSession& webAuth, QObject* parent = nullptr);
    ~SignInModel() override;

    QString server() const { return m_server; }
    const std::optional<AuthClient::ServerConfig>& serverConfig() const { return m_serverConfig; }
    bool offersGoogle() const { return m_serverConfig && m_serverConfig->google; }
    bool offersEmailCode() const { return m_serverConfig && m_serverConfig->email; }
    Mode mode() const { return m_mode; }
    QString email() const { return m_email; }
    QString password() const { return m_password; }
    QString code() const { return m_code; }
    bool codeSent() const { return m_codeSent; }
    bool verifyCode() const { return m_verifyCode; }
    bool needsInvite() const { return m_inviteTicket.has_value(); }
    QString invite() const { return m_invite; }
    bool busy() const { return m_busy; }
    QString message() const { return m_message.value_or(QString()); }
    bool hasMessage() const { return m_message.has_value(); }

    // Whether each action's button may be pressed with what is typed.
    bool canLogIn() const { return !m_email.isEmpty() && !m_password.isEmpty(); }
    bool canSendCode() const { return !m_email.isEmpty(); }
    bool canSubmitCode() const { return m_code.size() >= 6; }
    bool canPair() const;
    bool canCreateAccount() const { return !m_invite.isEmpty(); }

    // Changing the server reloads its sign-in options, abandoning a load still running.
    void setServer(const QString& server);
    // Changing the mode forgets the message, the code and the e-mail code step.
    void setMode(Mode mode);
    void setEmail(const QString& email);
    void setPassword(const QString& password);
    void setCode(const QString& code);
    void setInvite(const QString& invite);

    // The window appeared: the server's sign-in options are loaded, unless they are loading already.
    void appeared();
    // The window closed: a browser sign-in still waiting is dropped without a message.
    void closed();

    void google();
    void login();
    void sendCode();
    // Checks the e-mailed code where its purpose says: at auth/verify when `verify`.
    void submitCode(bool verify);
    void pair();
    void completeSocial();

signals:
    void serverChanged();
    void serverConfigChanged();
    void modeChanged();
    void emailChanged();
    void passwordChanged();
    void codeChanged();
    void codeSentChanged();
    void verifyCodeChanged();
    void inviteTicketChanged();
    void inviteChanged();
    void busyChanged();
    void messageChanged();
    // The account is signed in and its configuration saved.
    void signedIn(const AgentConfig& config);

private:
    using Finish = std::function<void(const Result<void>&)>;
    using Work = std::function<void(const Finish&)>;

    void loadServerOptions();
    void run(const Work& work);
    void finishWithSession(const Result<AuthClient::Session>& session, const Finish& finish);
    Result<void> done(const AuthClient::Session& session);
    void takeGoogleCallback(const QUrl& callback, const Finish& finish);
    void setBusy(bool busy);
    void setMessage(const std::optional<QString>& message);
    void setCodeStep(bool sent, bool verify);
    void setInviteTicket(const std::optional<QString>& ticket);

    WebAuthSession& m_webAuth;
    QString m_server;
    std::optional<AuthClient::ServerConfig> m_serverConfig;
    QPointer<QObject> m_optionsLoad;
    Mode m_mode = Mode::Password;
    QString m_email;
    QString m_password;
    QString m_code;
    bool m_codeSent = false;
    bool m_verifyCode = false;
    std::optional<QString> m_inviteTicket;
    QString m_invite;
    bool m_busy = false;
    std::optional<QString> m_message;
    // The context of every request; declared last, so that its requests end while the state still exists.
    QObject m_requests;
};
