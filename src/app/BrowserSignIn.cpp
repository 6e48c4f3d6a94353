#include "app/BrowserSignIn.h"

#include "base/RandomBytes.h"

#include <QDesktopServices>
#include <QUrlQuery>

namespace {

const QString stateKey = QStringLiteral("state");

} // namespace

BrowserSignIn::BrowserSignIn(QObject* parent)
    : BrowserSignIn([](const QUrl& url) { return QDesktopServices::openUrl(url); }, timeLimit, parent)
{}

BrowserSignIn::BrowserSignIn(Opener opener, std::chrono::milliseconds limit, QObject* parent)
    : QObject(parent), m_opener(std::move(opener))
{
    m_limit.setSingleShot(true);
    m_limit.setInterval(limit);
    connect(&m_limit, &QTimer::timeout, this, [this] {
        finish(Error{QStringLiteral("Browser"), 2,
                     QStringLiteral("The browser did not come back in time. Continue with Google again.")});
    });
}

QString BrowserSignIn::freshState()
{
    return RandomBytes::urlSafe(32);
}

void BrowserSignIn::authenticate(const QUrl& start, QObject* context, CallbackHandler onCallback)
{
    cancel();
    const QString state = freshState();
    QUrl address = start;
    QUrlQuery query(address);
    query.removeAllQueryItems(stateKey);
    query.addQueryItem(stateKey, state);
    address.setQuery(query);
    m_pending = Pending{state, context, std::move(onCallback)};
    if (!m_opener(address)) {
        finish(Error{QStringLiteral("Browser"), 1, QStringLiteral("No web browser could be opened.")});
        return;
    }
    m_limit.start();
}

void BrowserSignIn::cancel()
{
    if (m_pending)
        finish(Error::cancelled());
}

bool BrowserSignIn::deliver(const QUrl& callback)
{
    if (!m_pending || callback.scheme() != scheme)
        return false;
    const QString returned = QUrlQuery(callback).queryItemValue(stateKey, QUrl::FullyDecoded);
    if (returned.isEmpty() || returned != m_pending->state)
        return false;
    finish(callback);
    return true;
}

void BrowserSignIn::finish(const Result<QUrl>& outcome)
{
    m_limit.stop();
    const Pending pending = *std::exchange(m_pending, std::nullopt);
    if (!pending.context)
        return;
    // Later, so that a handler that starts another sign-in never runs inside this one.
    QMetaObject::invokeMethod(
        pending.context, [handler = pending.onCallback, outcome] { handler(outcome); }, Qt::QueuedConnection);
}
