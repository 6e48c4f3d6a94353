#include "platform/MicrophonePortal.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QFile>

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString deviceInterface = QStringLiteral("org.freedesktop.portal.Device");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");

} // namespace

MicrophonePortal::MicrophonePortal(QDBusConnection bus, QObject* parent)
    : QObject(parent), m_bus(std::move(bus))
{
    m_timeout.setSingleShot(true);
    m_timeout.setInterval(answerTimeoutMs);
    connect(&m_timeout, &QTimer::timeout, this, &MicrophonePortal::settle);
}

std::unique_ptr<MicrophonePortal> MicrophonePortal::forThisProcess()
{
    if (!QFile::exists(QStringLiteral("/.flatpak-info")))
        return nullptr;
    return std::make_unique<MicrophonePortal>();
}

void MicrophonePortal::ask(QObject* context, std::function<void()> onAnswered)
{
    m_waiting.append({context, std::move(onAnswered)});
    if (m_timeout.isActive())
        return;
    // The answer comes as a signal on a request object whose path follows from our bus name and a token
    // of our choosing, so we listen before asking and cannot miss it.
    const QString token = QStringLiteral("tavrin_microphone_%1").arg(++m_questions);
    QString sender = m_bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    m_requestPath = portalPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token;
    m_bus.connect(portalService, m_requestPath, requestInterface, QStringLiteral("Response"), this,
                  SLOT(answered(uint, QVariantMap)));
    m_timeout.start();
    QDBusMessage access = QDBusMessage::createMethodCall(portalService, portalPath, deviceInterface,
                                                         QStringLiteral("AccessDevice"));
    access << quint32(QCoreApplication::applicationPid()) << QStringList{QStringLiteral("microphone")}
           << QVariantMap{{QStringLiteral("handle_token"), token}};
    auto* call = new QDBusPendingCallWatcher(m_bus.asyncCall(access), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, call] {
        call->deleteLater();
        // A desktop without the portal has nothing to ask: the check that follows says what is there.
        if (call->isError())
            settle();
    });
}

void MicrophonePortal::answered(uint, const QVariantMap&)
{
    settle();
}

void MicrophonePortal::settle()
{
    if (!m_timeout.isActive())
        return;
    m_timeout.stop();
    m_bus.disconnect(portalService, m_requestPath, requestInterface, QStringLiteral("Response"), this,
                     SLOT(answered(uint, QVariantMap)));
    const QList<Waiting> waiting = std::exchange(m_waiting, {});
    for (const Waiting& each : waiting) {
        if (each.context)
            each.onAnswered();
    }
}
