#pragma once

#include <QByteArrayView>
#include <QString>
#include <chrono>

namespace httplib {
enum class Error;
}

// The sentences a person reads when the model server cannot give an answer. Each names the server,
// so that whoever runs the service knows where to look.
namespace UpstreamFailure {

// The server answered with another status than 200; `body` is the start of what it sent.
QString status(const QString& server, int status, QByteArrayView body);

// The connection failed or broke off. `silentFor` is how long nothing had arrived when it did.
QString transport(const QString& server, httplib::Error error, std::chrono::milliseconds silentFor,
                  std::chrono::milliseconds readTimeout);

// The stream ended without the server saying the answer was finished.
QString incomplete(const QString& server);

} // namespace UpstreamFailure
