#include "AskRoute.h"

#include "AskAccess.h"
#include "ChunkedEventSink.h"
#include "HistoryRecorder.h"
#include "JsonReply.h"
#include "Log.h"

#include <QElapsedTimer>
#include <httplib.h>

AskRoute::AskRoute(AnswerEngine& engine, const AskAccess& access, AskHistory* history)
    : m_engine(engine), m_access(access), m_history(history)
{}

void AskRoute::install(httplib::Server& server)
{
    server.Post("/v1/ask", [this](const httplib::Request& request, httplib::Response& response) {
        handle(request, response);
    });
}

std::optional<AskInput> AskRoute::readInput(const QJsonObject& body, QString& problem)
{
    const auto text = [&](const char* key, bool required) -> std::optional<QString> {
        const QJsonValue value = body.value(QLatin1String(key));
        if (value.isString())
            return value.toString();
        if (!value.isUndefined() || required)
            problem = QStringLiteral("\"%1\" must be a string.").arg(QLatin1String(key));
        return std::nullopt;
    };
    AskInput input;
    input.text = text("text", true).value_or(QString());
    input.selection = text("selection", false);
    input.before = text("before", false);
    input.after = text("after", false);
    input.app = text("app", false);
    input.copied = text("copied", false);
    input.draft = text("draft", false);
    input.adjust = text("adjust", false);
    input.device = text("device", false).value_or(QString());
    if (!problem.isEmpty())
        return std::nullopt;
    return input;
}

void AskRoute::handle(const httplib::Request& request, httplib::Response& response)
{
    const std::optional<AskAccess::Caller> caller = m_access.admit(JsonReply::bearerToken(request));
    if (!caller) {
        JsonReply::error(response, 401, QStringLiteral("unauthorized"));
        return;
    }
    const std::optional<QJsonObject> body = JsonReply::readObject(request, response);
    if (!body)
        return;
    QString problem;
    const std::optional<AskInput> input = readInput(*body, problem);
    if (!input) {
        JsonReply::error(response, 400, problem);
        return;
    }
    if (const std::optional<AccountStore::Refusal> refusal = m_access.charge(*caller)) {
        JsonReply::error(response, refusal->status, refusal->message);
        return;
    }
    stream(*input, caller->name, caller->account, response);
}

void AskRoute::stream(const AskInput& input, const QString& caller, const std::optional<QString>& account,
                      httplib::Response& response)
{
    // Proxies must pass each event on as it comes instead of collecting the whole answer.
    response.set_header("Cache-Control", "no-cache");
    response.set_header("X-Accel-Buffering", "no");
    response.set_chunked_content_provider(
        "text/event-stream", [this, input, caller, account](std::size_t, httplib::DataSink& sink) {
            ++m_active;
            QElapsedTimer clock;
            clock.start();
            ChunkedEventSink events(sink);
            if (m_history && account) {
                HistoryRecorder recorder(events, *m_history, *account, input);
                m_engine.answer(input, recorder);
            } else {
                m_engine.answer(input, events);
            }
            // Counted before the ask stops being active, so that a watcher never sees neither.
            if (events.agentGone())
                ++m_hungUp;
            --m_active;
            if (events.agentGone()) {
                Log::line(QStringLiteral("ask (%1): the agent hung up after %2 events, %3 ms")
                              .arg(caller)
                              .arg(events.sent())
                              .arg(clock.elapsed()));
                return false;
            }
            Log::line(QStringLiteral("ask (%1): %2 events in %3 ms")
                          .arg(caller)
                          .arg(events.sent())
                          .arg(clock.elapsed()));
            sink.done();
            return true;
        });
}
