#include "UpstreamFailure.h"

#include "protocol/ErrorBody.h"

#include <httplib.h>

namespace UpstreamFailure {

QString status(const QString& server, int status, QByteArrayView body)
{
    const std::optional<QString> reason = ErrorBody::reason(body);
    if (!reason)
        return QStringLiteral("The model server at %1 answered HTTP %2.").arg(server).arg(status);
    return QStringLiteral("The model server at %1 answered HTTP %2: %3").arg(server).arg(status).arg(*reason);
}

QString transport(const QString& server, httplib::Error error, std::chrono::milliseconds silentFor,
                  std::chrono::milliseconds readTimeout)
{
    switch (error) {
    case httplib::Error::Connection:
        return QStringLiteral("The model server at %1 cannot be reached. Is it running?").arg(server);
    case httplib::Error::ConnectionTimeout:
        return QStringLiteral("The model server at %1 did not accept the connection in time.").arg(server);
    case httplib::Error::Read:
        if (silentFor >= readTimeout)
            return QStringLiteral("The model server at %1 sent nothing for %2 seconds.")
                .arg(server)
                .arg(std::chrono::duration_cast<std::chrono::seconds>(readTimeout).count());
        return QStringLiteral("The connection to the model server at %1 broke off.").arg(server);
    case httplib::Error::SSLConnection:
    case httplib::Error::SSLLoadingCerts:
    case httplib::Error::SSLServerVerification:
        return QStringLiteral(
                   "The secure connection to the model server at %1 failed: its certificate could not "
                   "be verified or TLS did not work.")
            .arg(server);
    default:
        return QStringLiteral("The request to the model server at %1 failed (%2).")
            .arg(server, QString::fromStdString(httplib::to_string(error)));
    }
}

QString incomplete(const QString& server)
{
    return QStringLiteral("The model server at %1 stopped before the answer was complete.").arg(server);
}

} // namespace UpstreamFailure
