#include "EditorDriver.h"

#pragma push_macro("signals")
#undef signals
#include <atspi/atspi.h>
#pragma pop_macro("signals")

struct EditorDriver::Node
{
    AtspiAccessible* accessible = nullptr;
    ~Node() { g_clear_object(&accessible); }
};

namespace {

// The first editable text under node, depth first, looking at no more than budget nodes.
AtspiAccessible* findEditable(AtspiAccessible* node, int& budget)
{
    if (--budget < 0) {
        return nullptr;
    }
    if (atspi_accessible_get_role(node, nullptr) == ATSPI_ROLE_TEXT) {
        if (AtspiEditableText* editable = atspi_accessible_get_editable_text_iface(node)) {
            g_object_unref(editable);
            return ATSPI_ACCESSIBLE(g_object_ref(node));
        }
    }
    AtspiAccessible* found = nullptr;
    const gint children = atspi_accessible_get_child_count(node, nullptr);
    for (gint i = 0; i < children && !found; ++i) {
        if (AtspiAccessible* child = atspi_accessible_get_child_at_index(node, i, nullptr)) {
            found = findEditable(child, budget);
            g_object_unref(child);
        }
    }
    return found;
}

} // namespace

EditorDriver::EditorDriver(qint64 processId) : m_node(std::make_unique<Node>())
{
    atspi_init();
    AtspiAccessible* desktop = atspi_get_desktop(0);
    const gint apps = atspi_accessible_get_child_count(desktop, nullptr);
    for (gint i = 0; i < apps && !m_node->accessible; ++i) {
        AtspiAccessible* app = atspi_accessible_get_child_at_index(desktop, i, nullptr);
        if (app && qint64(atspi_accessible_get_process_id(app, nullptr)) == processId) {
            int budget = 5000;
            m_node->accessible = findEditable(app, budget);
        }
        g_clear_object(&app);
    }
    g_object_unref(desktop);
}

EditorDriver::~EditorDriver() = default;

bool EditorDriver::isReady() const
{
    return m_node->accessible != nullptr;
}

bool EditorDriver::setText(const QString& text)
{
    AtspiEditableText* editable = atspi_accessible_get_editable_text_iface(m_node->accessible);
    const bool done =
        editable && atspi_editable_text_set_text_contents(editable, text.toUtf8().constData(), nullptr);
    g_clear_object(&editable);
    return done;
}

bool EditorDriver::select(int start, int end)
{
    AtspiText* iface = atspi_accessible_get_text_iface(m_node->accessible);
    bool done = iface && atspi_text_set_caret_offset(iface, start, nullptr);
    if (iface && start != end) {
        done = atspi_text_set_selection(iface, 0, start, end, nullptr) ||
               atspi_text_add_selection(iface, start, end, nullptr);
    }
    g_clear_object(&iface);
    return done;
}

QString EditorDriver::text() const
{
    AtspiText* iface = atspi_accessible_get_text_iface(m_node->accessible);
    gchar* utf8 = iface
                      ? atspi_text_get_text(iface, 0, atspi_text_get_character_count(iface, nullptr), nullptr)
                      : nullptr;
    const QString text = QString::fromUtf8(utf8);
    g_free(utf8);
    g_clear_object(&iface);
    return text;
}
