#include "desktop/atspi/AtspiAccessibility.h"

// GLib's headers name a struct member `signals`, which Qt defines as a keyword.
#pragma push_macro("signals")
#undef signals
#include <atspi/atspi.h>
#pragma pop_macro("signals")

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <memory>

namespace {

struct GObjectDeleter
{
    void operator()(gpointer object) const { g_object_unref(object); }
};

template <typename T> using GObjectPtr = std::unique_ptr<T, GObjectDeleter>;

// Qt apps are walked instead of searched through Collection: bound the walk on huge trees.
constexpr int maxWalkedNodes = 5000;

// Every failed call reports a GError that only says what cannot be read; the result is then absent.
class ErrorSink
{
public:
    ~ErrorSink() { g_clear_error(&m_error); }
    GError** operator&() { return &m_error; }
    bool failed() const { return m_error != nullptr; }

private:
    GError* m_error = nullptr;
};

bool isFocused(AtspiAccessible* accessible)
{
    const GObjectPtr<AtspiStateSet> states(atspi_accessible_get_state_set(accessible));
    return states && atspi_state_set_contains(states.get(), ATSPI_STATE_FOCUSED);
}

GObjectPtr<AtspiAccessible> searchFocused(AtspiAccessible* app)
{
    const GObjectPtr<AtspiCollection> collection(atspi_accessible_get_collection_iface(app));
    if (!collection) {
        return nullptr;
    }
    const GObjectPtr<AtspiStateSet> focused(atspi_state_set_new(nullptr));
    atspi_state_set_add(focused.get(), ATSPI_STATE_FOCUSED);
    const GObjectPtr<AtspiMatchRule> rule(atspi_match_rule_new(
        focused.get(), ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_NONE, nullptr,
        ATSPI_Collection_MATCH_NONE, nullptr, ATSPI_Collection_MATCH_NONE, FALSE));
    ErrorSink error;
    GArray* matches = atspi_collection_get_matches(collection.get(), rule.get(),
                                                   ATSPI_Collection_SORT_ORDER_CANONICAL, 1, TRUE, &error);
    if (!matches) {
        return nullptr;
    }
    GObjectPtr<AtspiAccessible> found;
    for (guint i = 0; i < matches->len; ++i) {
        auto* match = g_array_index(matches, AtspiAccessible*, i);
        if (!found) {
            found.reset(match);
        } else {
            g_object_unref(match);
        }
    }
    g_array_free(matches, TRUE);
    return found;
}

GObjectPtr<AtspiAccessible> walkFocused(AtspiAccessible* node, int& budget, QDeadlineTimer deadline)
{
    if (--budget < 0 || deadline.hasExpired()) {
        return nullptr;
    }
    if (isFocused(node)) {
        return GObjectPtr<AtspiAccessible>(ATSPI_ACCESSIBLE(g_object_ref(node)));
    }
    ErrorSink error;
    const gint children = atspi_accessible_get_child_count(node, &error);
    for (gint i = 0; i < children && budget > 0 && !deadline.hasExpired(); ++i) {
        ErrorSink childError;
        const GObjectPtr<AtspiAccessible> child(atspi_accessible_get_child_at_index(node, i, &childError));
        if (child) {
            if (GObjectPtr<AtspiAccessible> found = walkFocused(child.get(), budget, deadline)) {
                return found;
            }
        }
    }
    return nullptr;
}

GObjectPtr<AtspiAccessible> applicationOf(qint64 processId)
{
    const GObjectPtr<AtspiAccessible> desktop(atspi_get_desktop(0));
    if (!desktop) {
        return nullptr;
    }
    ErrorSink error;
    const gint count = atspi_accessible_get_child_count(desktop.get(), &error);
    for (gint i = 0; i < count; ++i) {
        ErrorSink childError;
        GObjectPtr<AtspiAccessible> app(atspi_accessible_get_child_at_index(desktop.get(), i, &childError));
        if (!app) {
            continue;
        }
        ErrorSink pidError;
        if (qint64(atspi_accessible_get_process_id(app.get(), &pidError)) == processId &&
            !pidError.failed()) {
            return app;
        }
    }
    return nullptr;
}

// AT-SPI counts offsets in Unicode code points; the rest of the code counts UTF-16 units.
qint64 utf16Offset(const QString& text, gint codePoints)
{
    qint64 units = 0;
    for (gint i = 0; i < codePoints && units < text.size(); ++i) {
        units += (text.at(units).isHighSurrogate() && units + 1 < text.size()) ? 2 : 1;
    }
    return units;
}

FocusedElement readText(AtspiAccessible* accessible)
{
    FocusedElement element;
    const GObjectPtr<AtspiText> text(atspi_accessible_get_text_iface(accessible));
    if (!text) {
        return element;
    }
    ErrorSink countError;
    const gint count = atspi_text_get_character_count(text.get(), &countError);
    ErrorSink textError;
    gchar* utf8 = atspi_text_get_text(text.get(), 0, count, &textError);
    if (!utf8 || countError.failed()) {
        g_free(utf8);
        return element;
    }
    const QString value = QString::fromUtf8(utf8);
    g_free(utf8);
    element.value = value;

    ErrorSink selectionError;
    const gint selections = atspi_text_get_n_selections(text.get(), &selectionError);
    if (selections > 0) {
        ErrorSink rangeError;
        AtspiRange* range = atspi_text_get_selection(text.get(), 0, &rangeError);
        if (range) {
            const qint64 start = utf16Offset(value, range->start_offset);
            const qint64 end = utf16Offset(value, range->end_offset);
            g_free(range);
            element.selectedRange = TextRange{start, end - start};
            element.selectedText = value.mid(start, end - start);
            return element;
        }
    }
    ErrorSink caretError;
    const gint caret = atspi_text_get_caret_offset(text.get(), &caretError);
    if (!caretError.failed() && caret >= 0) {
        element.selectedRange = TextRange{utf16Offset(value, caret), 0};
    }
    return element;
}

} // namespace

bool AtspiAccessibility::isEnabled(QDeadlineTimer deadline)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    call << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled");
    const QDBusMessage reply = QDBusConnection::sessionBus().call(
        call, QDBus::Block, int(qMax<qint64>(1, deadline.remainingTime())));
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return false;
    }
    return reply.arguments().first().value<QDBusVariant>().variant().toBool();
}

std::optional<FocusedElement> AtspiAccessibility::focusedElement(qint64 processId, QDeadlineTimer deadline)
{
    if (processId <= 0 || processId == QCoreApplication::applicationPid()) {
        return std::nullopt;
    }
    if (!m_initialized) {
        atspi_init();
        // Qt's event loop on this thread iterates the thread's GLib context.
        if (GMainContext* context = g_main_context_get_thread_default())
            atspi_set_main_context(context);
        // AT-SPI's own call time-out, without the 15 s it grants applications that started lately, so
        // that a silent application holds this thread for no longer. The setting is process-wide.
        atspi_set_timeout(callTimeoutMs, callTimeoutMs);
        m_initialized = true;
    }
    const GObjectPtr<AtspiAccessible> app = applicationOf(processId);
    if (!app) {
        return std::nullopt;
    }
    // Cached states would describe the focus as it was when the cache was filled.
    atspi_accessible_clear_cache(app.get());
    GObjectPtr<AtspiAccessible> focused = searchFocused(app.get());
    if (!focused && !deadline.hasExpired()) {
        int budget = maxWalkedNodes;
        focused = walkFocused(app.get(), budget, deadline);
    }
    if (!focused || deadline.hasExpired()) {
        return std::nullopt;
    }
    return readText(focused.get());
}
