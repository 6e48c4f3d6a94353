#include "AccountStore.h"

#include "PasswordHash.h"
#include "Secrets.h"

#include <semaphore>
#include <thread>

namespace {

const QString defaultPlan = QStringLiteral("free");
const QString defaultRole = QStringLiteral("member");

AccountStore::Refusal wrongPassword()
{
    return {401, QStringLiteral("Wrong e-mail address or password.")};
}

AccountStore::Refusal alreadyThere(const QString& email)
{
    return {409, QStringLiteral("There is already an account for %1.").arg(email)};
}

// Password hashes run on at most half the cores at once, so that a flood of logins leaves the rest to
// every other request.
std::counting_semaphore<>& hashingSlots()
{
    static std::counting_semaphore<> hashing(
        std::max<std::ptrdiff_t>(1, std::thread::hardware_concurrency() / 2));
    return hashing;
}

bool passwordMatches(const QString& password, const QString& stored)
{
    hashingSlots().acquire();
    const bool matches = PasswordHash::matches(password, stored);
    hashingSlots().release();
    return matches;
}

// How often a device's last use is written down: often enough for expiry measured in days.
constexpr qint64 touchEverySeconds = 3600;

} // namespace

AccountStore::AccountStore(Settings settings, Clock clock)
    : m_settings(std::move(settings)),
      m_decoyHash(PasswordHash::make(QStringLiteral("decoy"), m_settings.passwordRounds)),
      m_clock(std::move(clock))
{}

QString AccountStore::normalized(const QString& email)
{
    return email.trimmed().toLower();
}

std::optional<QString> AccountStore::load()
{
    const std::lock_guard lock(m_mutex);
    auto opened = StateDatabase::open(m_settings.statePath, m_state);
    if (const QString* problem = std::get_if<QString>(&opened))
        return *problem;
    m_database = std::get<std::unique_ptr<StateDatabase>>(std::move(opened));
    const QDateTime now = m_clock();
    QList<int> expired;
    for (const AccountState::Device& device : std::as_const(m_state.devices)) {
        if (expiredLocked(device, now))
            expired.append(device.id);
    }
    if (std::optional<QString> problem = m_database->removeDevices(expired))
        return problem;
    m_state.devices.removeIf([&](const AccountState::Device& device) { return expired.contains(device.id); });
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
        account->passwordHash = PasswordHash::make(password, m_settings.passwordRounds);
    account->plan = plan.isEmpty() ? defaultPlan : plan;
    account->role = role.isEmpty() ? defaultRole : role;
    return m_database->saveAccount(*account);
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
    const QString address = normalized(email);
    std::optional<QString> stored;
    {
        const std::lock_guard lock(m_mutex);
        if (const AccountState::Account* account = findLocked(address))
            stored = account->passwordHash;
    }
    // The slow hash runs unlocked, so that a flood of logins does not hold up every other route.
    if (!passwordMatches(password, stored.value_or(m_decoyHash)) || !stored)
        return wrongPassword();
    const std::lock_guard lock(m_mutex);
    const AccountState::Account* account = findLocked(address);
    if (!account)
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
    const AccountState::Account account{normalized(email), {}, defaultPlan, defaultRole};
    const QString token = Secrets::deviceToken();
    AccountState::Device added{0,           account.email, Secrets::digest(token),
                               device.name, device.client, device.platform,
                               m_clock(),   m_clock()};
    // The invite is spent, the account made and the device added together, or none of them.
    if (const std::optional<QString> problem = m_database->together([&]() -> std::optional<QString> {
            if (auto failed = m_database->useInvite(digest))
                return failed;
            if (auto failed = m_database->saveAccount(account))
                return failed;
            return m_database->addDevice(added);
        }))
        return notSaved(*problem);
    m_state.usedInviteDigests.insert(digest);
    m_state.accounts.append(account);
    m_state.devices.append(added);
    return SignedIn{token, User{account.email, account.plan, account.role}};
}

std::optional<AccountStore::Caller> AccountStore::authenticate(const QString& token)
{
    if (token.isEmpty())
        return std::nullopt;
    const QString digest = Secrets::digest(token);
    const QDateTime now = m_clock();
    const std::lock_guard lock(m_mutex);
    for (AccountState::Device& device : m_state.devices) {
        if (device.tokenDigest != digest)
            continue;
        if (expiredLocked(device, now)) {
            const int id = device.id;
            if (!m_database->removeDevices({id}))
                m_state.devices.removeIf([id](const AccountState::Device& each) { return each.id == id; });
            return std::nullopt;
        }
        if (device.lastUsed.secsTo(now) >= touchEverySeconds && !m_database->touchDevice(device.id, now))
            device.lastUsed = now;
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
    const auto theirs = [&](const AccountState::Device& each) {
        return each.id == device && each.email == caller.email;
    };
    if (std::none_of(m_state.devices.cbegin(), m_state.devices.cend(), theirs))
        return Refusal{404, QStringLiteral("This account has no device %1.").arg(device)};
    if (const std::optional<QString> problem = m_database->removeDevices({device}))
        return notSaved(*problem);
    m_state.devices.removeIf(theirs);
    return device;
}

std::optional<AccountStore::Refusal> AccountStore::countAsk(const QString& email)
{
    const std::lock_guard lock(m_mutex);
    if (m_settings.dailyLimit <= 0)
        return std::nullopt;
    const QDate today = m_clock().date();
    AccountState::Usage usage = m_state.usage.value(email);
    if (usage.day != today)
        usage = {today, 0};
    if (usage.asks >= m_settings.dailyLimit)
        return Refusal{402,
                       QStringLiteral("The daily limit of %1 asks is reached.").arg(m_settings.dailyLimit)};
    ++usage.asks;
    if (const std::optional<QString> problem = m_database->saveUsage(email, usage))
        return notSaved(*problem);
    m_state.usage.insert(email, usage);
    return std::nullopt;
}

int AccountStore::asksToday(const QString& email)
{
    const std::lock_guard lock(m_mutex);
    const AccountState::Usage usage = m_state.usage.value(email);
    return usage.day == m_clock().date() ? usage.asks : 0;
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
    AccountState::Device added{0,           account.email, Secrets::digest(token),
                               device.name, device.client, device.platform,
                               m_clock(),   m_clock()};
    if (const std::optional<QString> problem = m_database->addDevice(added))
        return notSaved(*problem);
    m_state.devices.append(added);
    return SignedIn{token, User{account.email, account.plan, account.role}};
}

std::optional<AccountStore::Refusal> AccountStore::createLocked(const QString& email)
{
    if (findLocked(email))
        return alreadyThere(email);
    const AccountState::Account account{email, {}, defaultPlan, defaultRole};
    if (const std::optional<QString> problem = m_database->saveAccount(account))
        return notSaved(*problem);
    m_state.accounts.append(account);
    return std::nullopt;
}

bool AccountStore::expiredLocked(const AccountState::Device& device, const QDateTime& now) const
{
    const qint64 allowed = std::chrono::duration_cast<std::chrono::seconds>(m_settings.deviceExpiry).count();
    return allowed > 0 && device.lastUsed.isValid() && device.lastUsed.secsTo(now) >= allowed;
}

AccountStore::Refusal AccountStore::notSaved(const QString& problem)
{
    return {500, QStringLiteral("The service could not save its accounts: ") + problem};
}
