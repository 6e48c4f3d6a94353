#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

// JSON in and out of the routes: every answer is a JSON object, every failure {"error": "..."}.
namespace JsonReply {

void object(httplib::Response& response, int status, const QJsonObject& body);
void error(httplib::Response& response, int status, const QString& message);

// The request body as a JSON object, or nothing after answering 400 with the reason.
std::optional<QJsonObject> readObject(const httplib::Request& request, httplib::Response& response);

// The bearer token of the Authorization header; empty when there is none.
QString bearerToken(const httplib::Request& request);

} // namespace JsonReply
