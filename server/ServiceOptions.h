#pragma once

#include "upstream/UpstreamSettings.h"

#include <QString>
#include <QStringList>
#include <chrono>
#include <optional>
#include <variant>

// How tavrin-service was started: where it listens, who may ask, and which engine answers.
struct ServiceOptions
{
    QString host = QStringLiteral("127.0.0.1");
    int port = 8080; // 0: any free port
    std::optional<QString> token;
    std::chrono::milliseconds wordDelay{30};
    std::optional<UpstreamSettings> upstream; // absent: the offline engine answers

    struct Help
    {
        QString text;
    };
    // The options from the command line (element 0 is the program), --help's text, or what is wrong.
    static std::variant<ServiceOptions, Help, QString> parse(const QStringList& arguments);
};
