#pragma once

#include <QHash>
#include <QString>

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

// What the pages read from a browser's request and the headers every page answers with.
namespace WebForm {

inline constexpr char sessionCookie[] = "tavrin_session";
// Before sign-in, the forms carry this cookie's value back, so another site cannot sign a browser in.
inline constexpr char signInCookie[] = "tavrin_signin";

// The fields of a form posted as application/x-www-form-urlencoded.
QHash<QString, QString> fields(const httplib::Request& request);
QString cookie(const httplib::Request& request, const char* name);
// Whether the browser reached us over https (directly or through a proxy that says so).
bool overHttps(const httplib::Request& request);
// This site as the browser sees it, like "https://tavrin.example.com".
QString origin(const httplib::Request& request);
// Whether a state-changing request comes from our own pages: the browser's Origin (or its
// Sec-Fetch-Site) names this site, and the form carries the expected token back.
bool sameSite(const httplib::Request& request, const QString& formToken, const QString& expectedToken);

// HttpOnly, SameSite=Strict, Secure over https; a lifetime of 0 deletes the cookie.
void setCookie(httplib::Response& response, const httplib::Request& request, const char* name,
               const QString& value, qint64 lifetimeSeconds);
// A strict content policy (our own script and style only, no frames, forms only to us), no caching, no
// sniffing, and no referrer to other sites ("no-referrer" would make browsers send "Origin: null" with
// our own forms).
void secure(httplib::Response& response);
void html(httplib::Response& response, int status, const QString& page);
// 303 See Other, so the browser follows with a GET.
void redirect(httplib::Response& response, const QString& path);

} // namespace WebForm
