#include "AskAccess.h"

#include <QCryptographicHash>

namespace {

// Compares digests in constant time, so the time a wrong token takes tells nothing about the right one.
bool sameSecret(const QString& a, const QString& b)
{
    const QByteArray x = QCryptographicHash::hash(a.toUtf8(), QCryptographicHash::Sha256);
    const QByteArray y = QCryptographicHash::hash(b.toUtf8(), QCryptographicHash::Sha256);
    unsigned char difference = 0;
    for (qsizetype i = 0; i < x.size(); ++i)
        difference |= static_cast<unsigned char>(x.at(i) ^ y.at(i));
    return difference == 0;
}

} // namespace

AskAccess::AskAccess(std::optional<QString> sharedToken) : m_sharedToken(std::move(sharedToken)) {}

AskAccess::Decision AskAccess::admit(const QString& bearerToken) const
{
    if (bearerToken.isEmpty())
        return {};
    if (m_sharedToken && sameSecret(bearerToken, *m_sharedToken))
        return {Verdict::Allowed, QStringLiteral("shared token")};
    return {};
}
