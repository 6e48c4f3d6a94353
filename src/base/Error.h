#pragma once

#include <QString>

// The one error value of the code base: what failed (domain and code) and the sentence a person reads.
struct Error
{
    QString domain;
    int code = 0;
    QString message;

    static inline const QString cancelledDomain = QStringLiteral("Cancelled");

    static Error cancelled() { return {cancelledDomain, 0, QStringLiteral("cancelled")}; }
    bool isCancellation() const { return domain == cancelledDomain; }

    bool operator==(const Error&) const = default;
};
