#include "Mailbox.h"

#include "Log.h"

#include <QDateTime>
#include <QFile>

Mailbox::Mailbox(QString path) : m_path(std::move(path)) {}

std::optional<QString> Mailbox::deliver(const QString& to, const QString& code, const QString& purpose)
{
    // The log says who and why, never the code: logs are read by more people than mailboxes.
    Log::line(QStringLiteral("mail to=%1 purpose=%2").arg(to, purpose));
    if (m_path.isEmpty())
        return std::nullopt;
    const QString message = QStringLiteral("to=%1 purpose=%2 code=%3").arg(to, purpose, code);
    const std::lock_guard lock(m_mutex);
    QFile file(m_path);
    // Owner-only from the start, and a file that was there before is made so: the codes sign people in.
    const auto ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append, ownerOnly) || !file.setPermissions(ownerOnly))
        return QStringLiteral("Could not deliver the code to %1: %2").arg(m_path, file.errorString());
    const QByteArray line = (QDateTime::currentDateTimeUtc().toString(Qt::ISODate) + QLatin1Char(' ') +
                             message + QLatin1Char('\n'))
                                .toUtf8();
    if (file.write(line) != line.size() || !file.flush())
        return QStringLiteral("Could not deliver the code to %1: %2").arg(m_path, file.errorString());
    return std::nullopt;
}
