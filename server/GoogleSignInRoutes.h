#pragma once

struct Accounts;

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

// A local stand-in for signing in with Google: a consent page on which the tester picks an address,
// a redirect to the agent's morvik: callback, and the invite step that creates a new account.
class GoogleSignInRoutes
{
public:
    explicit GoogleSignInRoutes(Accounts& accounts);

    void install(httplib::Server& server);

private:
    static void consentPage(const httplib::Request& request, httplib::Response& response);
    void consent(const httplib::Request& request, httplib::Response& response);
    void completeWithInvite(const httplib::Request& request, httplib::Response& response);

    Accounts& m_accounts;
};
