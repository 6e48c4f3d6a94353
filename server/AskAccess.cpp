#include "AskAccess.h"

#include "Secrets.h"

AskAccess::AskAccess(std::optional<QString> sharedToken, AccountStore* accounts)
    : m_sharedToken(std::move(sharedToken)), m_accounts(accounts)
{}

std::optional<AskAccess::Caller> AskAccess::admit(const QString& bearerToken) const
{
    if (bearerToken.isEmpty())
        return std::nullopt;
    if (m_sharedToken && Secrets::same(bearerToken, *m_sharedToken))
        return Caller{QStringLiteral("shared token"), std::nullopt};
    if (!m_accounts)
        return std::nullopt;
    if (const std::optional<AccountStore::Caller> device = m_accounts->authenticate(bearerToken))
        return Caller{QStringLiteral("%1, device %2").arg(device->email).arg(device->device), device->email};
    return std::nullopt;
}

std::optional<AccountStore::Refusal> AskAccess::charge(const Caller& caller) const
{
    if (!caller.account || !m_accounts)
        return std::nullopt;
    return m_accounts->countAsk(*caller.account);
}
