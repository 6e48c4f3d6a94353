#pragma once

#include "desktop/AccessibilitySwitch.h"

#include <QDBusConnection>

// The accessibility switch of a Linux desktop: the IsEnabled property of org.a11y.Status on the session
// bus, which desktop settings panels flip, and GNOME's matching settings key.
class BusAccessibilitySwitch : public AccessibilitySwitch
{
public:
    explicit BusAccessibilitySwitch(QDBusConnection bus = QDBusConnection::sessionBus());

    void readEnabled(QObject* context, StateHandler onState) override;
    void enable(QObject* context, EnableHandler onEnabled) override;

private:
    QDBusConnection m_bus;
};
