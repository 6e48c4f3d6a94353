#include "views/Theme.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QPointer>
#include <QWidget>
#include <array>
#include <cmath>
#include <numbers>

namespace Theme {

namespace {

struct Variants
{
    QColor light;
    QColor dark;
};

const std::array<Variants, 8> variants = {{
    {QColor(255, 255, 255), QColor(23, 23, 23)},        // card
    {QColor(245, 245, 245), QColor(38, 38, 38)},        // muted
    {QColor(115, 115, 115), QColor(161, 161, 161)},     // mutedForeground
    {QColor(10, 10, 10), QColor(250, 250, 250)},        // foreground
    {QColor(229, 229, 229), QColor(255, 255, 255, 26)}, // border
    {QColor(10, 10, 10), QColor(250, 250, 250)},        // primary
    {QColor(250, 250, 250), QColor(10, 10, 10)},        // primaryForeground
    {QColor(231, 0, 11), QColor(255, 100, 103)},        // destructive
}};

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString portalSettings = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearanceGroup = QStringLiteral("org.freedesktop.appearance");
const QString colorSchemeKey = QStringLiteral("color-scheme");

// A damped spring released from rest at 0 towards 1, sampled over the time it takes to settle.
qreal springProgress(qreal progress)
{
    if (progress >= 1.0)
        return 1.0;
    constexpr qreal response = 0.4;
    constexpr qreal damping = 0.88;
    const qreal omega = 2.0 * std::numbers::pi / response;
    const qreal dampedOmega = omega * std::sqrt(1.0 - damping * damping);
    const qreal t = progress * springDurationMs / 1000.0;
    const qreal decay = std::exp(-damping * omega * t);
    return 1.0 -
           decay * (std::cos(dampedOmega * t) + damping * omega / dampedOmega * std::sin(dampedOmega * t));
}

// The portal sends the value wrapped once more in a variant by its older Read method.
QVariant unwrapped(QVariant value)
{
    while (value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

} // namespace

QColor colour(Role role, Appearance appearance)
{
    const Variants& pair = variants.at(static_cast<std::size_t>(role));
    return appearance == Appearance::Dark ? pair.dark : pair.light;
}

Appearance appearance()
{
    return Watcher::shared().appearance();
}

QColor card()
{
    return colour(Role::Card, appearance());
}
QColor muted()
{
    return colour(Role::Muted, appearance());
}
QColor mutedForeground()
{
    return colour(Role::MutedForeground, appearance());
}
QColor foreground()
{
    return colour(Role::Foreground, appearance());
}
QColor border()
{
    return colour(Role::Border, appearance());
}
QColor primary()
{
    return colour(Role::Primary, appearance());
}
QColor primaryForeground()
{
    return colour(Role::PrimaryForeground, appearance());
}
QColor destructive()
{
    return colour(Role::Destructive, appearance());
}

QPalette palette(Appearance appearance)
{
    const auto c = [appearance](Role role) { return colour(role, appearance); };
    QPalette palette;
    for (const QPalette::ColorRole role :
         {QPalette::Window, QPalette::Base, QPalette::Button, QPalette::ToolTipBase})
        palette.setColor(role, c(Role::Card));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                                           QPalette::ToolTipText, QPalette::BrightText})
        palette.setColor(role, c(Role::Foreground));
    palette.setColor(QPalette::AlternateBase, c(Role::Muted));
    palette.setColor(QPalette::PlaceholderText, c(Role::MutedForeground));
    palette.setColor(QPalette::Light, c(Role::Muted));
    palette.setColor(QPalette::Midlight, c(Role::Muted));
    palette.setColor(QPalette::Mid, c(Role::MutedForeground));
    palette.setColor(QPalette::Dark, c(Role::MutedForeground));
    palette.setColor(QPalette::Shadow, c(Role::MutedForeground));
    palette.setColor(QPalette::Highlight,
                     appearance == Appearance::Dark ? QColor(64, 64, 64) : QColor(212, 212, 212));
    palette.setColor(QPalette::HighlightedText, c(Role::Foreground));
    palette.setColor(QPalette::Link, c(Role::Foreground));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, c(Role::MutedForeground));
    return palette;
}

void follow(QWidget* window)
{
    const auto apply = [window] {
        window->setPalette(palette(appearance()));
        window->update();
    };
    apply();
    QObject::connect(&Watcher::shared(), &Watcher::appearanceChanged, window, apply);
}

QEasingCurve spring()
{
    QEasingCurve curve;
    curve.setCustomType(springProgress);
    return curve;
}

Watcher& Watcher::shared()
{
    static Watcher* watcher = new Watcher;
    return *watcher;
}

Watcher::Watcher()
{
    qApp->installEventFilter(this);
    update();
    askPortal();
}

bool Watcher::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange)
        update();
    return QObject::eventFilter(watched, event);
}

void Watcher::askPortal()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    bus.connect(portalService, portalPath, portalSettings, QStringLiteral("SettingChanged"), this,
                SLOT(portalSettingChanged(QDBusMessage)));
    QDBusMessage read =
        QDBusMessage::createMethodCall(portalService, portalPath, portalSettings, QStringLiteral("Read"));
    read << appearanceGroup << colorSchemeKey;
    auto* pending = new QDBusPendingCallWatcher(bus.asyncCall(read), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *call;
        // No portal, or one without the setting: the palette decides.
        if (reply.isValid())
            takePortalScheme(reply.value().variant());
    });
}

void Watcher::portalSettingChanged(const QDBusMessage& message)
{
    const QVariantList arguments = message.arguments();
    if (arguments.size() == 3 && arguments.at(0).toString() == appearanceGroup &&
        arguments.at(1).toString() == colorSchemeKey)
        takePortalScheme(arguments.at(2));
}

void Watcher::takePortalScheme(const QVariant& value)
{
    bool ok = false;
    const uint scheme = unwrapped(value).toUInt(&ok);
    // 1 prefers dark, 2 prefers light, 0 states no preference.
    if (ok && scheme == 1)
        m_portalChoice = Appearance::Dark;
    else if (ok && scheme == 2)
        m_portalChoice = Appearance::Light;
    else
        m_portalChoice.reset();
    update();
}

void Watcher::update()
{
    const Appearance fromPalette = QGuiApplication::palette().color(QPalette::Window).lightness() < 128
                                       ? Appearance::Dark
                                       : Appearance::Light;
    const Appearance now = m_portalChoice.value_or(fromPalette);
    if (now == m_appearance)
        return;
    m_appearance = now;
    emit appearanceChanged();
}

} // namespace Theme
