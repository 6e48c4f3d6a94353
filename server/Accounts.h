#pragma once

#include "AccountStore.h"
#include "Backoff.h"
#include "ExpiringCodes.h"
#include "Mailbox.h"
#include "Secrets.h"
#include "Throttle.h"

#include <chrono>
#include <optional>

// How often a stranger may try to get in. Limits per client address stop one machine; limits per
// e-mail address stop many machines aimed at one account, and are loose enough that a stranger cannot
// keep its owner out for long (see README, "Limits on signing in").
class SignInLimits
{
public:
    using Wait = std::optional<std::chrono::seconds>;

    explicit SignInLimits(const Clock& clock)
        : pairingGuessesPerClient(clock, 10, std::chrono::seconds(30)),
          m_codesPerAddress(clock, 3, std::chrono::minutes(2)),
          m_codesPerClient(clock, 10, std::chrono::minutes(1)),
          m_guessesPerClientAndAddress(clock, 5, std::chrono::minutes(5)),
          m_guessesPerAddress(clock, 20, std::chrono::minutes(3)),
          m_loginsPerAccount(clock, 5, std::chrono::minutes(1)),
          m_loginsPerClient(clock, 10, std::chrono::minutes(15))
    {}

    // Each check counts the try and says how long the client has to wait first, or nothing when it may
    // go ahead: asking for an e-mailed code, guessing one, and signing in with a password.
    Wait sendCode(const QString& client, const QString& email)
    {
        return longer(m_codesPerClient.take(client), m_codesPerAddress.take(email));
    }
    Wait guessCode(const QString& client, const QString& email)
    {
        return longer(m_guessesPerClientAndAddress.take(client + QLatin1Char(' ') + email),
                      m_guessesPerAddress.take(email));
    }
    Wait logIn(const QString& client, const QString& email)
    {
        return longer(m_loginsPerClient.attempt(client), m_loginsPerAccount.attempt(email));
    }
    void loggedIn(const QString& client, const QString& email)
    {
        m_loginsPerClient.succeeded(client);
        m_loginsPerAccount.succeeded(email);
    }

    Throttle pairingGuessesPerClient;

private:
    static Wait longer(Wait a, Wait b)
    {
        if (!a || !b)
            return a ? a : b;
        return std::max(*a, *b);
    }

    Throttle m_codesPerAddress;
    Throttle m_codesPerClient;
    Throttle m_guessesPerClientAndAddress;
    Throttle m_guessesPerAddress;
    Backoff m_loginsPerAccount;
    Backoff m_loginsPerClient;
};

// The account half's parts, owned together: the store, the mailbox, the three kinds of short-lived
// codes (e-mailed codes, pairing codes, tickets of Google sign-ins that wait for an invite) and the
// limits on guessing them.
struct Accounts
{
    static constexpr std::chrono::seconds emailCodeLifetime{600};
    static constexpr std::chrono::seconds ticketLifetime{900};
    static constexpr int invitesPerTicket = 5;

    Accounts(AccountStore::Settings settings, QString mailboxPath, std::chrono::seconds pairingCodeLifetime,
             const Clock& clock)
        : store(std::move(settings), clock), mailbox(std::move(mailboxPath)),
          emailCodes(clock, [] { return Secrets::digits(6); }), pairingCodes(clock, &Secrets::pairingCode),
          tickets(clock, &Secrets::ticket), limits(clock), pairingLifetime(pairingCodeLifetime)
    {}

    AccountStore store;
    Mailbox mailbox;
    ExpiringCodes emailCodes;
    ExpiringCodes pairingCodes;
    ExpiringCodes tickets;
    SignInLimits limits;
    std::chrono::seconds pairingLifetime;
};
