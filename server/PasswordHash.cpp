#include "PasswordHash.h"

#include "base/RandomBytes.h"

#include <QByteArray>
#include <QStringList>
#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace {

const QString scheme = QStringLiteral("pbkdf2-sha256");
constexpr int saltBytes = 16;
constexpr int hashBytes = 32;
constexpr int maxIterations = 10000000;

QByteArray derive(const QString& password, const QByteArray& salt, int rounds)
{
    const QByteArray secret = password.toUtf8();
    QByteArray out(hashBytes, Qt::Uninitialized);
    const int ok = PKCS5_PBKDF2_HMAC(secret.constData(), static_cast<int>(secret.size()),
                                     reinterpret_cast<const unsigned char*>(salt.constData()),
                                     static_cast<int>(salt.size()), rounds, EVP_sha256(), hashBytes,
                                     reinterpret_cast<unsigned char*>(out.data()));
    return ok == 1 ? out : QByteArray();
}

} // namespace

namespace PasswordHash {

QString make(const QString& password, int rounds)
{
    const QByteArray salt = RandomBytes::generate(saltBytes);
    const QByteArray hash = derive(password, salt, rounds);
    if (hash.isEmpty())
        qFatal("PBKDF2 is not available from the crypto library");
    return QStringList{scheme, QString::number(rounds), QString::fromLatin1(salt.toBase64()),
                       QString::fromLatin1(hash.toBase64())}
        .join(QLatin1Char('$'));
}

bool matches(const QString& password, const QString& stored)
{
    const QStringList parts = stored.split(QLatin1Char('$'));
    if (parts.size() != 4 || parts.at(0) != scheme)
        return false;
    bool ok = false;
    const int rounds = parts.at(1).toInt(&ok);
    if (!ok || rounds < 1 || rounds > maxIterations)
        return false;
    const QByteArray salt = QByteArray::fromBase64(parts.at(2).toLatin1());
    const QByteArray expected = QByteArray::fromBase64(parts.at(3).toLatin1());
    const QByteArray actual = derive(password, salt, rounds);
    return !actual.isEmpty() && actual.size() == expected.size() &&
           CRYPTO_memcmp(actual.constData(), expected.constData(), static_cast<std::size_t>(actual.size())) ==
               0;
}

} // namespace PasswordHash
