#pragma once

#include "base/Result.h"

#include <QObject>
#include <QStringList>
#include <functional>

// The desktop's switch that exposes applications to assistive technology, which is what lets the agent
// read selections and paste. Answers arrive later on the caller's thread, and not at all once the context
// object is gone.
class AccessibilitySwitch
{
public:
    using StateHandler = std::function<void(bool enabled)>;
    // On success, the running applications that read the switch only when they start.
    using EnableHandler = std::function<void(const Result<QStringList>& mustRestart)>;

    virtual ~AccessibilitySwitch() = default;

    virtual void readEnabled(QObject* context, StateHandler onState) = 0;
    virtual void enable(QObject* context, EnableHandler onEnabled) = 0;
};
