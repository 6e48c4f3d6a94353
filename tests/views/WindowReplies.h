#pragma once

#include "ScriptedServer.h"

// The service's answers that the home, sign-in and pairing windows read, as the scripted server sends
// them. A held answer waits for `ScriptedServer::release`.
namespace WindowReplies {

inline ScriptedResponse json(const QByteArray& body, int status = 200, bool held = false)
{
    ScriptedResponse response(status);
    response.header("Content-Type", "application/json");
    return held ? response.heldPart(body) : response.part(body);
}

// What /auth/config offers.
inline ScriptedResponse signInOptions(bool google, bool email)
{
    return json(QByteArray("{\"google\":") + (google ? "true" : "false") +
                ",\"email\":" + (email ? "true" : "false") + ",\"invite_only\":true}");
}

// The account of /v1/me, or the new session of a sign-in.
inline ScriptedResponse user(const QByteArray& email, bool withToken = false)
{
    return json(QByteArray(withToken ? "{\"token\":\"tok-1\"," : "{") + "\"user\":{\"email\":\"" + email +
                "\",\"plan\":\"pro\",\"role\":\"member\"}}");
}

inline ScriptedResponse pairing(const QByteArray& code, int expiresIn, bool held = false)
{
    return json("{\"code\":\"" + code +
                    "\",\"deep_link\":\"morvik:/"
                    "/pair?code=" +
                    code + "\",\"expires_in\":" + QByteArray::number(expiresIn) + "}",
                200, held);
}

inline ScriptedResponse refusal(int status, const QByteArray& message)
{
    return json("{\"error\":\"" + message + "\"}", status);
}

} // namespace WindowReplies
