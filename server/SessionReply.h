#pragma once

#include "AccountStore.h"

#include <QJsonObject>
#include <chrono>

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

// The shapes the account routes share: the device a sign-in comes from, the user, the session.
namespace SessionReply {

AccountStore::DeviceFields deviceFields(const QJsonObject& body);
QJsonObject user(const AccountStore::User& user);
void refusal(httplib::Response& response, const AccountStore::Refusal& refusal);
// {"token", "user"} for a sign-in, or the refusal.
void session(httplib::Response& response, const AccountStore::Outcome<AccountStore::SignedIn>& outcome);

bool looksLikeEmail(const QString& text);

// The address a request came from, as the limits count it.
QString client(const httplib::Request& request);
// A wait as people read it: "1 second", "40 seconds", "3 minutes".
QString duration(std::chrono::seconds wait);
// The link a phone opens to pair: the service as the caller reached it (its origin), and the code.
QString pairingLink(const QString& server, const QString& code);

} // namespace SessionReply
