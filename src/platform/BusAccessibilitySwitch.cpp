#include "platform/BusAccessibilitySwitch.h"

#include "platform/GnomeInterfaceSettings.h"
#include "platform/RunningQtApps.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QFutureWatcher>
#include <QtConcurrent/QtConcurrentRun>

namespace {

const QString busService = QStringLiteral("org.a11y.Bus");
const QString busPath = QStringLiteral("/org/a11y/bus");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString statusInterface = QStringLiteral("org.a11y.Status");
const QString enabledProperty = QStringLiteral("IsEnabled");
// The bus launcher answers at once; a desktop without one answers with an error just as fast.
constexpr int callTimeoutMs = 5000;

// Calls `onReply` with the finished call, on the context's thread, unless the context is gone.
void whenAnswered(const QDBusPendingCall& call, QObject* context,
                  std::function<void(const QDBusPendingCall&)> onReply)
{
    auto* watcher = new QDBusPendingCallWatcher(call, context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context,
                     [watcher, onReply = std::move(onReply)] {
                         watcher->deleteLater();
                         onReply(*watcher);
                     });
}

void listApplicationsToRestart(QObject* context, const AccessibilitySwitch::EnableHandler& onEnabled)
{
    auto* watcher = new QFutureWatcher<QStringList>(context);
    QObject::connect(watcher, &QFutureWatcher<QStringList>::finished, context, [watcher, onEnabled] {
        watcher->deleteLater();
        onEnabled(watcher->result());
    });
    const qint64 self = QCoreApplication::applicationPid();
    watcher->setFuture(
        QtConcurrent::run([self] { return RunningQtApps::list(QStringLiteral("/proc"), self); }));
}

} // namespace

BusAccessibilitySwitch::BusAccessibilitySwitch(QDBusConnection bus) : m_bus(std::move(bus)) {}

void BusAccessibilitySwitch::readEnabled(QObject* context, StateHandler onState)
{
    QDBusMessage get =
        QDBusMessage::createMethodCall(busService, busPath, propertiesInterface, QStringLiteral("Get"));
    get << statusInterface << enabledProperty;
    whenAnswered(m_bus.asyncCall(get, callTimeoutMs), context,
                 [onState = std::move(onState)](const QDBusPendingCall& call) {
                     const QDBusPendingReply<QDBusVariant> reply(call);
                     onState(!reply.isError() && reply.value().variant().toBool());
                 });
}

void BusAccessibilitySwitch::enable(QObject* context, EnableHandler onEnabled)
{
    QDBusMessage set =
        QDBusMessage::createMethodCall(busService, busPath, propertiesInterface, QStringLiteral("Set"));
    set << statusInterface << enabledProperty << QVariant::fromValue(QDBusVariant(true));
    whenAnswered(m_bus.asyncCall(set, callTimeoutMs), context,
                 [context, onEnabled = std::move(onEnabled)](const QDBusPendingCall& call) {
                     if (call.isError()) {
                         onEnabled(Error{QStringLiteral("Accessibility"), 1,
                                         QStringLiteral("The desktop did not turn accessibility on: %1")
                                             .arg(call.error().message())});
                         return;
                     }
                     GnomeInterfaceSettings::enableToolkitAccessibility();
                     listApplicationsToRestart(context, onEnabled);
                 });
}
