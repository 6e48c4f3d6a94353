#include "AccountStore.h"

#include "PasswordHash.h"
#include "Secrets.h"
#include "config/PrivateFile.h"

#include <QFile>

namespace {

const QString defaultPlan = QStringLiteral("free");
const QString defaultRole = QStringLiteral("member");

AccountStore::Refusal wrongPassword()
{
    return {401, QStringLiteral("Wrong e-mail address or password.")};
}

// Hashing for unknown addresses too keeps a login's duration from telling which addresses exist.
const QString& decoyHash()
{
    static const QString hash = PasswordHash::make(QStringLiteral("decoy"));
    return hash;
}

AccountStore::Refusal alreadyThere(const QString& email)
{
    return {409, QStringLiteral("There is already an account for %1.").arg(email)};
}

} // namespace

AccountStore::AccountStore(Settings settings, Clock clock)
    : m_settings(std::move(settings)), m_clock(std::move(clock))
{}

QString AccountStore::normalized(const QString& email)
{
    return email.trimmed().toLower();
}

std::optional<QString> AccountStore::load()
{
    const std::lock_guard lock(m_mutex);
    if (m_settings.statePath.isEmpty() || !QFile::exists(m_settings.statePath))
        return std::nullopt;
    QFile file(m_settings.statePath);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("Could not read %1: %2").arg(m_settings.statePath, file.errorString());
    auto decoded = AccountState::decode(file.readAll());
    if (const QString* problem = std::get_if<QString>(&decoded))
        return QStringLiteral("%1 is not a state file of this service: %2")
            .arg(m_settings.statePath, *problem);
    m_state = std::move(std::get<AccountState>(decoded));
    return std::nullopt;
}

std::optional<QString> AccountStore::ensureAccount(const QString& email, const QString& password,
                                                   const QString& plan, const QString& role)
{
    const QString address = normalized(email);
    const std::lock_guard lock(m_mutex);
    AccountState::Account* account = findLocked(address);
    if (!account) {
        m_state.accounts.append({address, {}, defaultPlan, defaultRole});
        account = &m_state.accounts.last();
    }
    if (!PasswordHash::matches(password, account->passwordHash))
        account->passwordHash = PasswordHash::make(password);
    account->plan = plan.isEmpty() ? defaultPlan : plan;
    account->role = role.isEmpty() ? defaultRole : role;
    if (const std::optional<Refusal> refusal = saveLocked())
        return refusal->message;
    return std::nullopt;
}

void AccountStore::addInvite(const QString& code)
{
    const std::lock_guard lock(m_mutex);
    m_invites.insert(code.trimmed());
}

bool AccountStore::hasAccount(const QString& email)
{
    const std::lock_guard lock(m_mutex);
    return findLocked(normalized(email)) != nullptr;
}

std::optional<AccountStore::User> AccountStore::user(const QString& email)
{
    const std::lock_guard lock(m_mutex);
    const AccountState::Account* account = findLocked(normalized(email));
    if (!account)
        return std::nullopt;
    return User{account->email, account->plan, account->role};
}

AccountStore::Outcome<AccountStore::SignedIn>
AccountStore::login(const QString& email, const QString& password, const DeviceFields& device)
{
    const std::lock_guard lock(m_mutex);
    const AccountState::Account* account = findLocked(normalized(email));
    if (!account) {
        PasswordHash::matches(password, decoyHash());
        return wrongPassword();
    }
    if (!PasswordHash::matches(password, account->passwordHash))
        return wrongPassword();
    return addDeviceLocked(*account, device);
}

AccountStore::Outcome<AccountStore::SignedIn> AccountStore::signIn(const QString& email,
                                                                   const DeviceFields& device)
{
    const std::lock_guard lock(m_mutex);
    const AccountState::Account* account = findLocked(normalized(email));
    if (!account)
        return Refusal{404, QStringLiteral("There is no account for %1.").arg(normalized(email))};
    return addDeviceLocked(*account, device);
}

std::optional<AccountStore::Refusal> AccountStore::createAccount(const QString& email)
{
    const std::lock_guard lock(m_mutex);
    if (!m_settings.openSignup)
        return Refusal{403, QStringLiteral("New accounts need an invite code.")};
    return createLocked(normalized(email));
}

AccountStore::Outcome<AccountStore::SignedIn>
AccountStore::signUpWithInvite(const QString& email, const QString& invite, const DeviceFields& device)
{
    const std::lock_guard lock(m_mutex);
    const QString code = invite.trimmed();
    const QString digest = Secrets::digest(code);
    if (!m_invites.contains(code) || m_state.usedInviteDigests.contains(digest))
        return Refusal{403, QStringLiteral("That invite code is not valid or has been used.")};
    // An invite is spent only on an account it really creates.
    if (findLocked(normalized(email)))
        return alreadyThere(normalized(email));
    m_state.usedInviteDigests.insert(digest);
    if (const std::optional<Refusal> refusal = createLocked(normalized(email)))
        return *refusal;
    return addDeviceLocked(*findLocked(normalized(email)), device);
}

std::optional<AccountStore::Caller> AccountStore::authenticate(const QString& token)
{
    if (token.isEmpty())
        return std::nullopt;
    const QString digest = Secrets::digest(token);
    const std::lock_guard lock(m_mutex);
    for (const AccountState::Device& device : std::as_const(m_state.devices)) {
        if (device.tokenDigest == digest)
            return Caller{device.email, device.id};
    }
    return std::nullopt;
}

QList<AccountState::Device> AccountStore::devices(const QString& email)
{
    const std::lock_guard lock(m_mutex);
    QList<AccountState::Device> found;
    for (const AccountState::Device& device : std::as_const(m_state.devices)) {
        if (device.email == email)
            found.append(device);
    }
    return found;
}

AccountStore::Outcome<int> AccountStore::revoke(const Caller& caller, int device)
{
    const std::lock_guard lock(m_mutex);
    const qsizetype removed = m_state.devices.removeIf(
        [&](const AccountState::Device& each) { return each.id == device && each.email == caller.email; });
    if (removed == 0)
        return Refusal{404, QStringLiteral("This account has no device %1.").arg(device)};
    if (const std::optional<Refusal> refusal = saveLocked())
        return *refusal;
    return device;
}

std::optional<AccountStore::Refusal> AccountStore::countAsk(const QString& email)
{
    const std::lock_guard lock(m_mutex);
    if (m_settings.dailyLimit <= 0)
        return std::nullopt;
    const QDate today = m_clock().date();
    AccountState::Usage& usage = m_state.usage[email];
    if (usage.day != today)
        usage = {today, 0};
    if (usage.asks >= m_settings.dailyLimit)
        return Refusal{402,
                       QStringLiteral("The daily limit of %1 asks is reached.").arg(m_settings.dailyLimit)};
    ++usage.asks;
    return saveLocked();
}

AccountState::Account* AccountStore::findLocked(const QString& email)
{
    for (AccountState::Account& account : m_state.accounts) {
        if (account.email == email)
            return &account;
    }
    return nullptr;
}

AccountStore::Outcome<AccountStore::SignedIn>
AccountStore::addDeviceLocked(const AccountState::Account& account, const DeviceFields& device)
{
    const QString token = Secrets::deviceToken();
    m_state.devices.append({m_state.nextDevice++, account.email, Secrets::digest(token), device.name,
                            device.client, device.platform, m_clock()});
    const User user{account.email, account.plan, account.role};
    if (const std::optional<Refusal> refusal = saveLocked())
        return *refusal;
    return SignedIn{token, user};
}

std::optional<AccountStore::Refusal> AccountStore::createLocked(const QString& email)
{
    if (findLocked(email))
        return alreadyThere(email);
    m_state.accounts.append({email, {}, defaultPlan, defaultRole});
    return saveLocked();
}

std::optional<AccountStore::Refusal> AccountStore::saveLocked()
{
    if (m_settings.statePath.isEmpty())
        return std::nullopt;
    if (const Result<void> saved = PrivateFile::write(m_settings.statePath, m_state.encode()); !saved.ok())
        return Refusal{500,
                       QStringLiteral("The service could not save its accounts: ") + saved.error().message};
    return std::nullopt;
}
