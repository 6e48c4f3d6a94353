#pragma once

#include "AccountStore.h"
#include "ExpiringCodes.h"
#include "Mailbox.h"
#include "Secrets.h"

#include <chrono>

// The account half's parts, owned together: the store, the mailbox and the three kinds of short-lived
// codes (e-mailed codes, pairing codes, tickets of Google sign-ins that wait for an invite).
struct Accounts
{
    static constexpr std::chrono::seconds emailCodeLifetime{600};
    static constexpr std::chrono::seconds ticketLifetime{900};

    Accounts(AccountStore::Settings settings, QString mailboxPath, std::chrono::seconds pairingCodeLifetime,
             const Clock& clock)
        : store(std::move(settings), clock), mailbox(std::move(mailboxPath)),
          emailCodes(clock, [] { return Secrets::digits(6); }), pairingCodes(clock, &Secrets::pairingCode),
          tickets(clock, &Secrets::ticket), pairingLifetime(pairingCodeLifetime)
    {}

    AccountStore store;
    Mailbox mailbox;
    ExpiringCodes emailCodes;
    ExpiringCodes pairingCodes;
    ExpiringCodes tickets;
    std::chrono::seconds pairingLifetime;
};
