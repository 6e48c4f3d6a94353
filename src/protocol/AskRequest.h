#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

// The body of one ask: what the user wants and the text it is about.
struct AskRequest
{
    QString text;
    std::optional<QString> selection;
    std::optional<QString> before;
    std::optional<QString> after;
    std::optional<QString> app;
    std::optional<QString> copied;
    std::optional<QString> draft;
    std::optional<QString> adjust;
    QString device = QStringLiteral("mac");

    // Compact JSON; absent fields are left out, present ones are written even when empty.
    QByteArray encode() const;

    bool operator==(const AskRequest&) const = default;
};
