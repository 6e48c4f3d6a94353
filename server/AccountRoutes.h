#pragma once

#include "AccountStore.h"

#include <optional>

struct Accounts;

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

// The account API: sign-in options, e-mailed codes, password and pairing sign-in, and what a signed-in
// device may do (who am I, new pairing code, devices and their revocation).
class AccountRoutes
{
public:
    AccountRoutes(Accounts& accounts, bool googleOffered);

    void install(httplib::Server& server);

private:
    void config(httplib::Response& response) const;
    void sendCode(const httplib::Request& request, httplib::Response& response);
    void verifyCode(const httplib::Request& request, httplib::Response& response, bool mayCreate);
    void login(const httplib::Request& request, httplib::Response& response);
    void pair(const httplib::Request& request, httplib::Response& response);
    void me(const AccountStore::Caller& caller, httplib::Response& response);
    void newPairingCode(const AccountStore::Caller& caller, const httplib::Request& request,
                        httplib::Response& response);
    void devices(const AccountStore::Caller& caller, httplib::Response& response);
    void revoke(const AccountStore::Caller& caller, const httplib::Request& request,
                httplib::Response& response);

    // The signed-in caller, or nothing after answering 401.
    std::optional<AccountStore::Caller> caller(const httplib::Request& request, httplib::Response& response);

    Accounts& m_accounts;
    bool m_googleOffered;
};
