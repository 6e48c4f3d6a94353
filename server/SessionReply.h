#pragma once

#include "AccountStore.h"

#include <QJsonObject>

namespace httplib {
struct Response;
}

// The shapes the account routes share: the device a sign-in comes from, the user, the session.
namespace SessionReply {

AccountStore::DeviceFields deviceFields(const QJsonObject& body);
QJsonObject user(const AccountStore::User& user);
void refusal(httplib::Response& response, const AccountStore::Refusal& refusal);
// {"token", "user"} for a sign-in, or the refusal.
void session(httplib::Response& response, const AccountStore::Outcome<AccountStore::SignedIn>& outcome);

bool looksLikeEmail(const QString& text);

} // namespace SessionReply
