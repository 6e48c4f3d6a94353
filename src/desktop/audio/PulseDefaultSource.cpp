#include "desktop/audio/PulseDefaultSource.h"

#include <pulse/pulseaudio.h>

namespace {

// Runs the loop until `done` says so or the connection fails.
template <typename Done> bool iterateUntil(pa_mainloop* loop, pa_context* context, Done done)
{
    while (!done()) {
        const pa_context_state_t state = pa_context_get_state(context);
        if (state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED)
            return false;
        if (pa_mainloop_iterate(loop, 1, nullptr) < 0)
            return false;
    }
    return true;
}

} // namespace

QByteArray PulseDefaultSource::name()
{
    pa_mainloop* loop = pa_mainloop_new();
    pa_context* context = pa_context_new(pa_mainloop_get_api(loop), "tavrin");
    QByteArray result;
    if (pa_context_connect(context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0 &&
        iterateUntil(loop, context,
                     [context] { return pa_context_get_state(context) == PA_CONTEXT_READY; })) {
        pa_operation* operation = pa_context_get_server_info(
            context,
            [](pa_context*, const pa_server_info* info, void* out) {
                if (info && info->default_source_name)
                    *static_cast<QByteArray*>(out) = info->default_source_name;
            },
            &result);
        if (operation) {
            iterateUntil(loop, context,
                         [operation] { return pa_operation_get_state(operation) != PA_OPERATION_RUNNING; });
            pa_operation_unref(operation);
        }
    }
    pa_context_disconnect(context);
    pa_context_unref(context);
    pa_mainloop_free(loop);
    return result;
}
