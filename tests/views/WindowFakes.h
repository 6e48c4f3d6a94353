#pragma once

#include "desktop/AccessibilitySwitch.h"
#include "desktop/VoiceCheck.h"
#include "views/WebAuthSession.h"

#include <QMetaObject>
#include <QObject>
#include <QPointer>

// Stand-ins for the desktop: answers come later, like the real ones, with the state the test set.
class FakeAccessibilitySwitch : public AccessibilitySwitch
{
public:
    bool enabled = false;
    Result<QStringList> enableOutcome = QStringList();

    void readEnabled(QObject* context, StateHandler onState) override
    {
        QMetaObject::invokeMethod(
            context, [this, onState] { onState(enabled); }, Qt::QueuedConnection);
    }
    void enable(QObject* context, EnableHandler onEnabled) override
    {
        QMetaObject::invokeMethod(
            context,
            [this, onEnabled] {
                enabled = enabled || enableOutcome.ok();
                onEnabled(enableOutcome);
            },
            Qt::QueuedConnection);
    }
};

class FakeVoiceCheck : public VoiceCheck
{
public:
    VoiceStatus status;
    int accessRequests = 0;

    void check(QObject* context, StatusHandler onStatus) override
    {
        QMetaObject::invokeMethod(
            context, [this, onStatus] { onStatus(status); }, Qt::QueuedConnection);
    }
    void requestAccess(QObject* context, StatusHandler onStatus) override
    {
        ++accessRequests;
        check(context, std::move(onStatus));
    }
};

// A browser that the test answers: it keeps the handler of the last sign-in.
class FakeWebAuthSession : public WebAuthSession
{
public:
    QPointer<QObject> context;
    CallbackHandler onCallback;

    void authenticate(const QUrl&, QObject* waiter, CallbackHandler handler) override
    {
        context = waiter;
        onCallback = std::move(handler);
    }
    void cancel() override {}

    void answer(const Result<QUrl>& callback)
    {
        QMetaObject::invokeMethod(
            context, [handler = onCallback, callback] { handler(callback); }, Qt::QueuedConnection);
    }
};
