#include "desktop/audio/PulseDefaultSource.h"

#include <climits>
#include <pulse/pulseaudio.h>

namespace {

// Runs the loop until `done` says so, the connection fails or the deadline passes.
template <typename Done>
bool iterateUntil(pa_mainloop* loop, pa_context* context, QDeadlineTimer deadline, Done done)
{
    while (!done()) {
        const pa_context_state_t state = pa_context_get_state(context);
        if (state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED || deadline.hasExpired())
            return false;
        const qint64 remainingUs = qMax<qint64>(1, deadline.remainingTimeNSecs() / 1000);
        if (pa_mainloop_prepare(loop, int(qMin<qint64>(remainingUs, INT_MAX))) < 0 ||
            pa_mainloop_poll(loop) < 0 || pa_mainloop_dispatch(loop) < 0)
            return false;
    }
    return true;
}

} // namespace

PulseDefaultSource::PulseDefaultSource(QObject* parent) : QObject(parent)
{
    refresh();
}

PulseDefaultSource::~PulseDefaultSource()
{
    if (m_lookup)
        m_lookup->wait();
}

QByteArray PulseDefaultSource::name()
{
    refresh();
    return m_name;
}

void PulseDefaultSource::refresh()
{
    if (m_lookup && m_lookup->isRunning())
        return;
    m_lookup.reset(QThread::create([this] {
        const QByteArray found = lookUp(QDeadlineTimer(lookupDeadline));
        QMetaObject::invokeMethod(
            this,
            [this, found] {
                m_name = found;
                m_answered = true;
                emit answered();
            },
            Qt::QueuedConnection);
    }));
    m_lookup->start();
}

QByteArray PulseDefaultSource::lookUp(QDeadlineTimer deadline)
{
    pa_mainloop* loop = pa_mainloop_new();
    pa_context* context = pa_context_new(pa_mainloop_get_api(loop), "tavrin");
    QByteArray result;
    if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0 &&
        iterateUntil(loop, context, deadline,
                     [context] { return pa_context_get_state(context) == PA_CONTEXT_READY; })) {
        pa_operation* operation = pa_context_get_server_info(
            context,
            [](pa_context*, const pa_server_info* info, void* out) {
                if (info && info->default_source_name)
                    *static_cast<QByteArray*>(out) = info->default_source_name;
            },
            &result);
        if (operation) {
            if (!iterateUntil(loop, context, deadline, [operation] {
                    return pa_operation_get_state(operation) != PA_OPERATION_RUNNING;
                }))
                pa_operation_cancel(operation);
            pa_operation_unref(operation);
        }
    }
    pa_context_disconnect(context);
    pa_context_unref(context);
    pa_mainloop_free(loop);
    return result;
}
