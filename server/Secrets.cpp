#include "Secrets.h"

#include "base/RandomBytes.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QRandomGenerator>

namespace {

QString drawn(const QLatin1String alphabet, int count)
{
    QString text;
    for (int i = 0; i < count; ++i)
        text += QLatin1Char(alphabet[QRandomGenerator::system()->bounded(static_cast<int>(alphabet.size()))]);
    return text;
}

} // namespace

namespace Secrets {

QString deviceToken()
{
    return QStringLiteral("tv_") + RandomBytes::urlSafe(32);
}

QString digits(int count)
{
    return drawn(QLatin1String("0123456789"), count);
}

QString pairingCode()
{
    // No 0/O, 1/I/L: the code is read off a screen and typed.
    return drawn(QLatin1String("ABCDEFGHJKMNPQRSTUVWXYZ23456789"), 8);
}

QString ticket()
{
    return RandomBytes::urlSafe(16);
}

QString digest(const QString& token)
{
    return QString::fromLatin1(QCryptographicHash::hash(token.toUtf8(), QCryptographicHash::Sha256).toHex());
}

bool same(const QString& a, const QString& b)
{
    const QByteArray x = QCryptographicHash::hash(a.toUtf8(), QCryptographicHash::Sha256);
    const QByteArray y = QCryptographicHash::hash(b.toUtf8(), QCryptographicHash::Sha256);
    unsigned char difference = 0;
    for (qsizetype i = 0; i < x.size(); ++i)
        difference |= static_cast<unsigned char>(x.at(i) ^ y.at(i));
    return difference == 0;
}

} // namespace Secrets
