#pragma once

#include "AnswerEngine.h"

#include <atomic>
#include <optional>

class AskAccess;
class AskHistory;

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

// POST v1/ask: admits the caller, reads the request and streams the engine's answer as an event stream;
// with a history, an account's completed answers are kept there.
class AskRoute
{
public:
    AskRoute(AnswerEngine& engine, const AskAccess& access, AskHistory* history = nullptr);

    void install(httplib::Server& server);

    // Asks being answered right now, and asks that ended because the agent hung up first.
    int active() const { return m_active; }
    int hungUp() const { return m_hungUp; }

    // The request body as the engine reads it, or the reason it is unusable.
    static std::optional<AskInput> readInput(const QJsonObject& body, QString& problem);

private:
    void handle(const httplib::Request& request, httplib::Response& response);
    void stream(const AskInput& input, const QString& caller, const std::optional<QString>& account,
                httplib::Response& response);

    AnswerEngine& m_engine;
    const AskAccess& m_access;
    AskHistory* m_history;
    std::atomic<int> m_active = 0;
    std::atomic<int> m_hungUp = 0;
};
