#pragma once

#include <QString>
#include <optional>

// Who may use the ask route: the holder of the shared token, when the service has one.
class AskAccess
{
public:
    enum class Verdict { Allowed, Unauthorized };
    struct Decision
    {
        Verdict verdict = Verdict::Unauthorized;
        QString caller; // for the log: who asked, never the token itself
    };

    explicit AskAccess(std::optional<QString> sharedToken);

    Decision admit(const QString& bearerToken) const;

private:
    std::optional<QString> m_sharedToken;
};
