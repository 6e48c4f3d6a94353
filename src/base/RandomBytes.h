#pragma once

#include <QByteArray>
#include <QRandomGenerator>
#include <QString>

// Secrets drawn from the system's cryptographically secure generator.
namespace RandomBytes {

inline QByteArray generate(qsizetype count)
{
    QByteArray bytes((count + 3) / 4 * 4, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
    bytes.truncate(count);
    return bytes;
}

// count random bytes as URL-safe text without padding: for tokens and states carried in addresses.
inline QString urlSafe(qsizetype count)
{
    return QString::fromLatin1(
        generate(count).toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

} // namespace RandomBytes
