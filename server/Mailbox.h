#pragma once

#include <QString>
#include <mutex>
#include <optional>

// Where e-mailed codes go, since the service sends no mail: one line per message appended to a file
// that only the owner can read (when a file is given); the log names the address and purpose only.
class Mailbox
{
public:
    explicit Mailbox(QString path);

    // Why the message could not be delivered, otherwise nothing.
    std::optional<QString> deliver(const QString& to, const QString& code, const QString& purpose);

private:
    QString m_path;
    std::mutex m_mutex;
};
