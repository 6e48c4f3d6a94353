#pragma once

#include "config/AgentConfig.h"

#include <QUrl>
#include <optional>

// The service's web pages, under the server the configuration names (the built-in default without one).
namespace WebPages {

inline const QString defaultServerURL = QStringLiteral("http://127.0.0.1:8080");

enum class Page { Settings, History };

// "app" under the server, with the fragment "history" for the history; absent when the address does not
// parse as an http(s) address with a host.
std::optional<QUrl> address(const std::optional<AgentConfig>& config, Page page);

} // namespace WebPages
