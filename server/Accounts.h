#pragma once

#include "AccountStore.h"
#include "Backoff.h"
#include "ExpiringCodes.h"
#include "Mailbox.h"
#include "Secrets.h"
#include "Throttle.h"

#include <chrono>

// How often a stranger may try to get in. Limits per client address stop one machine; limits per
// e-mail address stop many machines aimed at one account, and are loose enough that a stranger cannot
// keep its owner out for long (see README, "Limits on signing in").
struct SignInLimits
{
    explicit SignInLimits(const Clock& clock)
        : codesPerAddress(clock, 3, std::chrono::minutes(2)),
          codesPerClient(clock, 10, std::chrono::minutes(1)),
          guessesPerClientAndAddress(clock, 5, std::chrono::minutes(5)),
          guessesPerAddress(clock, 20, std::chrono::minutes(3)),
          pairingGuessesPerClient(clock, 10, std::chrono::seconds(30)),
          loginsPerAccount(clock, 5, std::chrono::minutes(1)),
          loginsPerClient(clock, 10, std::chrono::minutes(15))
    {}

    Throttle codesPerAddress;
    Throttle codesPerClient;
    Throttle guessesPerClientAndAddress;
    Throttle guessesPerAddress;
    Throttle pairingGuessesPerClient;
    Backoff loginsPerAccount;
    Backoff loginsPerClient;
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
