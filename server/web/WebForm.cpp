#include "WebForm.h"

#include "Secrets.h"

#include <QUrl>
#include <QUrlQuery>
#include <httplib.h>

namespace WebForm {

namespace {

QString header(const httplib::Request& request, const char* name)
{
    return QString::fromStdString(request.get_header_value(name));
}

} // namespace

QHash<QString, QString> fields(const httplib::Request& request)
{
    QHash<QString, QString> result;
    if (!header(request, "Content-Type").startsWith(QLatin1String("application/x-www-form-urlencoded")))
        return result;
    // A form encodes spaces as "+", which QUrlQuery would keep.
    QString body = QString::fromUtf8(request.body);
    body.replace(QLatin1Char('+'), QLatin1String("%20"));
    const QUrlQuery query(body);
    for (const auto& [key, value] : query.queryItems(QUrl::FullyDecoded)) {
        if (!result.contains(key))
            result.insert(key, value);
    }
    return result;
}

QString cookie(const httplib::Request& request, const char* name)
{
    const QString wanted = QString::fromLatin1(name);
    for (const QString& pair : header(request, "Cookie").split(QLatin1Char(';'))) {
        const qsizetype equals = pair.indexOf(QLatin1Char('='));
        if (equals > 0 && pair.left(equals).trimmed() == wanted)
            return pair.mid(equals + 1).trimmed();
    }
    return {};
}

bool overHttps(const httplib::Request& request)
{
    return header(request, "X-Forwarded-Proto").compare(QLatin1String("https"), Qt::CaseInsensitive) == 0;
}

QString origin(const httplib::Request& request)
{
    // A reverse proxy that passes its own address as Host names the browser's in X-Forwarded-Host.
    const QString forwarded = header(request, "X-Forwarded-Host");
    return (overHttps(request) ? QStringLiteral("https://") : QStringLiteral("http://")) +
           (forwarded.isEmpty() ? header(request, "Host") : forwarded);
}

bool sameSite(const httplib::Request& request, const QString& formToken, const QString& expectedToken)
{
    if (expectedToken.isEmpty() || !Secrets::same(formToken, expectedToken))
        return false;
    if (request.has_header("Origin"))
        return header(request, "Origin") == origin(request);
    // Browsers that send no Origin still say where a request comes from.
    const QString site = header(request, "Sec-Fetch-Site");
    return site.isEmpty() || site == QLatin1String("same-origin");
}

void setCookie(httplib::Response& response, const httplib::Request& request, const char* name,
               const QString& value, qint64 lifetimeSeconds)
{
    QString cookie = QStringLiteral("%1=%2; Path=/; Max-Age=%3; HttpOnly; SameSite=Strict")
                         .arg(QLatin1String(name), value)
                         .arg(lifetimeSeconds);
    if (overHttps(request))
        cookie += QLatin1String("; Secure");
    response.set_header("Set-Cookie", cookie.toStdString());
}

void secure(httplib::Response& response)
{
    response.set_header("Content-Security-Policy",
                        "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
                        "form-action 'self'; frame-ancestors 'none'; base-uri 'none'");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Referrer-Policy", "same-origin");
    response.set_header("Cache-Control", "no-store");
}

void html(httplib::Response& response, int status, const QString& page)
{
    secure(response);
    response.status = status;
    response.set_content(page.toStdString(), "text/html; charset=utf-8");
}

void redirect(httplib::Response& response, const QString& path)
{
    secure(response);
    response.status = 303;
    response.set_header("Location", path.toStdString());
}

} // namespace WebForm
