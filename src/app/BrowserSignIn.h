#pragma once

#include "views/WebAuthSession.h"

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <chrono>
#include <functional>
#include <optional>

// Sign-in through the default browser. The start address carries a fresh random `state`; the service
// hands it back in the callback, which reaches this process through the "morvik" URL handler. Only the
// callback of the one pending sign-in is taken; anything else is dropped without a word.
class BrowserSignIn : public QObject, public WebAuthSession
{
    Q_OBJECT
public:
    using Opener = std::function<bool(const QUrl&)>;

    static constexpr std::chrono::minutes timeLimit{10};
    static inline const QString scheme = QStringLiteral("morvik");

    // The opener shows a URL to the user; the default is the desktop's browser.
    explicit BrowserSignIn(QObject* parent = nullptr);
    BrowserSignIn(Opener opener, std::chrono::milliseconds limit, QObject* parent = nullptr);

    void authenticate(const QUrl& start, QObject* context, CallbackHandler onCallback) override;
    void cancel() override;

    // A "morvik:" URL from the handler. True when it answered the pending sign-in.
    bool deliver(const QUrl& callback);

    bool isPending() const { return m_pending.has_value(); }

private:
    struct Pending
    {
        QString state;
        QPointer<QObject> context;
        CallbackHandler onCallback;
    };

    static QString freshState();
    void finish(const Result<QUrl>& outcome);

    Opener m_opener;
    QTimer m_limit;
    std::optional<Pending> m_pending;
};
