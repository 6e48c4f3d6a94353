#pragma once

#include "base/UrlHost.h"

#include <QString>
#include <QUrl>

// Which model server answers and how to reach it. The key is only ever sent to that server.
struct UpstreamSettings
{
    QUrl endpoint; // the chat-completions URL itself
    QString model;
    QString apiKey; // empty when the server needs none

    int port() const { return endpoint.port(endpoint.scheme() == QLatin1String("https") ? 443 : 80); }

    // "host:port" of the endpoint: how the back end is named to the agent and in messages.
    QString serverName() const { return QStringLiteral("%1:%2").arg(urlHost(endpoint.host())).arg(port()); }
};
