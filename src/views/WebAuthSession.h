#pragma once

#include "base/Result.h"

#include <QObject>
#include <QUrl>
#include <functional>

// Sign-in in the browser: opens a start address and waits for the service to call back on the "morvik"
// scheme. A wait that is cancelled ends with Error::cancelled(), which callers show nothing for.
class WebAuthSession
{
public:
    using CallbackHandler = std::function<void(const Result<QUrl>& callback)>;

    virtual ~WebAuthSession() = default;

    // Starts a new wait, ending any earlier one as cancelled. The answer arrives later, and not at all
    // once `context` is gone.
    virtual void authenticate(const QUrl& start, QObject* context, CallbackHandler onCallback) = 0;
    virtual void cancel() = 0;
};
