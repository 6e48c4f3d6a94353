#include "views/SignInModel.h"

#include "service/Http.h"
#include "views/WebAuthSession.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrlQuery>

namespace {

constexpr int socialCompleteTimeoutMs = 60'000;
// An answer to the invite step larger than this is not a session.
constexpr qint64 socialCompleteBodyLimit = 64 * 1024;

Error unreadableSession()
{
    return {QStringLiteral("Decoding"), 0,
            QStringLiteral("The service's answer could not be read as a sign-in.")};
}

Result<AuthClient::Session> readSession(const QByteArray& body)
{
    const QJsonObject object = QJsonDocument::fromJson(body).object();
    const QJsonValue token = object.value(QLatin1String("token"));
    const QJsonObject user = object.value(QLatin1String("user")).toObject();
    const QJsonValue email = user.value(QLatin1String("email"));
    const QJsonValue plan = user.value(QLatin1String("plan"));
    const QJsonValue role = user.value(QLatin1String("role"));
    if (!token.isString() || !email.isString() || !plan.isString() || !role.isString())
        return unreadableSession();
    return AuthClient::Session{token.toString(), {email.toString(), plan.toString(), role.toString()}};
}

// The value of the first query item of that name, if there is one.
std::optional<QString> firstItem(const QUrlQuery& query, const QString& key)
{
    for (const auto& [name, value] : query.queryItems(QUrl::FullyDecoded)) {
        if (name == key)
            return value;
    }
    return std::nullopt;
}

// The text without the given characters at either end.
QString trimmedOf(const QString& text, QStringView characters)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && characters.contains(text.at(begin)))
        ++begin;
    while (end > begin && characters.contains(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

} // namespace

SignInModel::SignInModel(WebAuthSession& webAuth, QObject* parent) : QObject(parent), m_webAuth(webAuth)
{
    const std::optional<AgentConfig> stored = AgentConfig::load();
    m_server = stored ? stored->serverURL : defaultServerURL;
}

SignInModel::~SignInModel()
{
    m_webAuth.cancel();
    delete m_optionsLoad;
}

bool SignInModel::canPair() const
{
    return trimmedOf(m_code, u" \t").size() >= 8;
}

void SignInModel::setServer(const QString& server)
{
    if (server == m_server)
        return;
    m_server = server;
    emit serverChanged();
    loadServerOptions();
}

void SignInModel::setMode(Mode mode)
{
    if (mode == m_mode)
        return;
    m_mode = mode;
    emit modeChanged();
    setMessage(std::nullopt);
    setCode(QString());
    setCodeStep(false, false);
}

void SignInModel::setEmail(const QString& email)
{
    if (email != m_email) {
        m_email = email;
        emit emailChanged();
    }
}

void SignInModel::setPassword(const QString& password)
{
    if (password != m_password) {
        m_password = password;
        emit passwordChanged();
    }
}

void SignInModel::setCode(const QString& code)
{
    if (code != m_code) {
        m_code = code;
        emit codeChanged();
    }
}

void SignInModel::setInvite(const QString& invite)
{
    if (invite != m_invite) {
        m_invite = invite;
        emit inviteChanged();
    }
}

void SignInModel::setBusy(bool busy)
{
    if (busy != m_busy) {
        m_busy = busy;
        emit busyChanged();
    }
}

void SignInModel::setMessage(const std::optional<QString>& message)
{
    if (message != m_message) {
        m_message = message;
        emit messageChanged();
    }
}

void SignInModel::setCodeStep(bool sent, bool verify)
{
    if (verify != m_verifyCode) {
        m_verifyCode = verify;
        emit verifyCodeChanged();
    }
    if (sent != m_codeSent) {
        m_codeSent = sent;
        emit codeSentChanged();
    }
}

void SignInModel::setInviteTicket(const std::optional<QString>& ticket)
{
    if (ticket != m_inviteTicket) {
        m_inviteTicket = ticket;
        emit inviteTicketChanged();
    }
}

void SignInModel::appeared()
{
    // A load for this very address may already be on its way.
    if (!m_optionsLoad)
        loadServerOptions();
}

void SignInModel::closed()
{
    m_webAuth.cancel();
}

void SignInModel::loadServerOptions()
{
    // Deleting the context of the previous load aborts its request.
    delete m_optionsLoad;
    QObject* load = new QObject(&m_requests);
    m_optionsLoad = load;
    AuthClient::config(m_server, load, [this, load](const Result<AuthClient::ServerConfig>& options) {
        // An abandoned load reports its abort while it is being deleted: that answer is not wanted.
        if (load != m_optionsLoad)
            return;
        load->deleteLater();
        const std::optional<AuthClient::ServerConfig> loaded =
            options.ok() ? std::optional(options.value()) : std::nullopt;
        if (loaded != m_serverConfig) {
            m_serverConfig = loaded;
            emit serverConfigChanged();
        }
    });
}

void SignInModel::run(const Work& work)
{
    setBusy(true);
    setMessage(std::nullopt);
    work([this](const Result<void>& outcome) {
        if (!outcome.ok() && !outcome.error().isCancellation())
            setMessage(outcome.error().message);
        setBusy(false);
    });
}

void SignInModel::finishWithSession(const Result<AuthClient::Session>& session, const Finish& finish)
{
    finish(session.ok() ? done(session.value()) : Result<void>(session.error()));
}

Result<void> SignInModel::done(const AuthClient::Session& session)
{
    const AgentConfig config{trimmedOf(m_server, u"/ \n"), session.token, session.user.email};
    if (Result<void> saved = config.save(); !saved.ok())
        return saved;
    emit signedIn(config);
    return {};
}

void SignInModel::login()
{
    run([this](const Finish& finish) {
        AuthClient::login(m_server, m_email, m_password, &m_requests,
                          [this, finish](const Result<AuthClient::Session>& session) {
                              finishWithSession(session, finish);
                          });
    });
}

void SignInModel::sendCode()
{
    run([this](const Finish& finish) {
        AuthClient::sendCode(m_server, m_email, &m_requests, [this, finish](const Result<QString>& purpose) {
            if (purpose.ok())
                setCodeStep(true, purpose.value() == QLatin1String("verify"));
            finish(purpose.ok() ? Result<void>() : Result<void>(purpose.error()));
        });
    });
}

void SignInModel::submitCode(bool verify)
{
    run([this, verify](const Finish& finish) {
        AuthClient::verifyCode(m_server, m_email, m_code, verify, &m_requests,
                               [this, finish](const Result<AuthClient::Session>& session) {
                                   finishWithSession(session, finish);
                               });
    });
}

void SignInModel::pair()
{
    run([this](const Finish& finish) {
        AuthClient::pair(m_server, m_code, &m_requests,
                         [this, finish](const Result<AuthClient::Session>& session) {
                             finishWithSession(session, finish);
                         });
    });
}

void SignInModel::google()
{
    run([this](const Finish& finish) {
        const Result<QUrl> start = AuthClient::googleStartURL(m_server);
        if (!start.ok()) {
            finish(start.error());
            return;
        }
        m_webAuth.authenticate(start.value(), &m_requests, [this, finish](const Result<QUrl>& callback) {
            if (!callback.ok())
                finish(callback.error());
            else
                takeGoogleCallback(callback.value(), finish);
        });
    });
}

void SignInModel::takeGoogleCallback(const QUrl& callback, const Finish& finish)
{
    const QUrlQuery query(callback);
    const std::optional<QString> status = firstItem(query, QStringLiteral("status"));
    const std::optional<QString> code = firstItem(query, QStringLiteral("code"));
    if (status == QLatin1String("ok") && code) {
        AuthClient::pair(m_server, *code, &m_requests,
                         [this, finish](const Result<AuthClient::Session>& session) {
                             finishWithSession(session, finish);
                         });
        return;
    }
    const std::optional<QString> ticket = firstItem(query, QStringLiteral("ticket"));
    if (firstItem(query, QStringLiteral("need")) == QLatin1String("invite") && ticket) {
        setInviteTicket(ticket);
        finish(Result<void>());
        return;
    }
    finish(
        Error{AuthClient::failureDomain, 0,
              firstItem(query, QStringLiteral("error")).value_or(QStringLiteral("Google sign-in failed"))});
}

void SignInModel::completeSocial()
{
    if (!m_inviteTicket)
        return;
    run([this](const Finish& finish) {
        const auto address = Http::endpoint(m_server, QStringLiteral("auth/social/complete"));
        if (const auto* error = std::get_if<Error>(&address)) {
            finish(*error);
            return;
        }
        QNetworkRequest request = Http::request(std::get<QUrl>(address));
        request.setTransferTimeout(socialCompleteTimeoutMs);
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
        const QJsonObject body{{QStringLiteral("ticket"), *m_inviteTicket},
                               {QStringLiteral("invite"), m_invite},
                               {QStringLiteral("client"), QStringLiteral("app")},
                               {QStringLiteral("platform"), QStringLiteral("mac")},
                               {QStringLiteral("name"), AuthClient::deviceName()}};
        QNetworkReply* reply =
            Http::network().post(request, QJsonDocument(body).toJson(QJsonDocument::Compact));
        Http::keepTokenAtHome(reply);
        connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received, qint64) {
            if (received > socialCompleteBodyLimit)
                reply->abort();
        });
        connect(reply, &QNetworkReply::finished, &m_requests, [this, reply, finish] {
            reply->deleteLater();
            const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
            if (!status.isValid()) {
                finish(Http::transportError(*reply));
                return;
            }
            const QByteArray answer = reply->read(socialCompleteBodyLimit + 1);
            if (Result<void> accepted = AuthClient::check(status.toInt(), answer); !accepted.ok()) {
                finish(accepted);
                return;
            }
            const Result<AuthClient::Session> session = readSession(answer);
            if (session.ok())
                setInviteTicket(std::nullopt);
            finishWithSession(session, finish);
        });
    });
}
