#pragma once

#include "UpstreamSettings.h"

#include <QCommandLineOption>
#include <QList>
#include <optional>
#include <variant>

class QCommandLineParser;

// The command-line options that point the service at a model server: --upstream, --model and
// --api-key-env (the key itself never appears on the command line, where other users could see it).
namespace UpstreamOptions {

QList<QCommandLineOption> all();

// No settings when --upstream is absent; otherwise the settings, or what is wrong with the options.
std::variant<std::optional<UpstreamSettings>, QString> read(const QCommandLineParser& parser);

// The chat-completions URL for what the user gave: a base such as http://127.0.0.1:11434/v1, or
// the full .../chat/completions URL.
QUrl endpointFor(const QUrl& base);

} // namespace UpstreamOptions
