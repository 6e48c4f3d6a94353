#pragma once

#include "base/Error.h"
#include "base/Result.h"

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <optional>

// The stored sign-in: which service to talk to, the device token, and the account's address for display.
// Having a readable file is what being signed in means.
struct AgentConfig
{
    QString serverURL;
    QString token;
    std::optional<QString> email;

    bool operator==(const AgentConfig&) const = default;

    // Path of the file, fixed on first use for the life of the process.
    static QString fileURL();
    // Pure form of the location rule, for callers that need it without fixing the process-wide path.
    static QString locate(const QByteArray& configPathVariable, const QString& homeDirectory);

    // A file that is not a regular one, or is larger than maxFileBytes, reads as none.
    static std::optional<AgentConfig> load();
    static constexpr qint64 maxFileBytes = 64 * 1024;
    Result<void> save() const;
    static void remove();

    std::optional<QUrl> legacyPairingURL() const;

    static std::optional<AgentConfig> decode(const QByteArray& bytes);
    QByteArray encode() const;
};
