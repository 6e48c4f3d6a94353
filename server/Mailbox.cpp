#include "Mailbox.h"

#include "Log.h"

#include <QDateTime>
#include <QFile>

Mailbox::Mailbox(QString path) : m_path(std::move(path)) {}

std::optional<QString> Mailbox::deliver(const QString& to, const QString& code, const QString& purpose)
{
    const QString message = QStringLiteral("to=%1 purpose=%2 code=%3").arg(to, purpose, code);
    Log::line(QStringLiteral("mail ") + message);
    if (m_path.isEmpty())
        return std::nullopt;
    const std::lock_guard lock(m_mutex);
    QFile file(m_path);
    // Created owner-only from the start: the codes sign people in.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append,
                   QFileDevice::ReadOwner | QFileDevice::WriteOwner))
        return QStringLiteral("Could not deliver the code to %1: %2").arg(m_path, file.errorString());
    const QByteArray line = (QDateTime::currentDateTimeUtc().toString(Qt::ISODate) + QLatin1Char(' ') +
                             message + QLatin1Char('\n'))
                                .toUtf8();
    if (file.write(line) != line.size() || !file.flush())
        return QStringLiteral("Could not deliver the code to %1: %2").arg(m_path, file.errorString());
    return std::nullopt;
}
