#pragma once

#include <QString>

// A host as it is written inside a URL: an IPv6 address goes in brackets ("[::1]"), names and IPv4
// addresses as they are.
inline QString urlHost(const QString& host)
{
    return host.contains(QLatin1Char(':')) ? QStringLiteral("[%1]").arg(host) : host;
}
