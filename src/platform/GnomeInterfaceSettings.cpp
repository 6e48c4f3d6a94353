// GLib's headers name struct members "signals", which Qt defines as a keyword: no Qt header here.
#include "platform/GnomeInterfaceSettings.h"

#include <gio/gio.h>

namespace GnomeInterfaceSettings {

bool enableToolkitAccessibility()
{
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    if (!source)
        return false;
    GSettingsSchema* schema = g_settings_schema_source_lookup(source, "org.gnome.desktop.interface", TRUE);
    if (!schema)
        return false;
    const bool hasKey = g_settings_schema_has_key(schema, "toolkit-accessibility");
    g_settings_schema_unref(schema);
    if (!hasKey)
        return false;
    GSettings* settings = g_settings_new("org.gnome.desktop.interface");
    // The settings backend writes in the background; nothing here waits for the settings daemon.
    const bool written = g_settings_set_boolean(settings, "toolkit-accessibility", TRUE);
    g_object_unref(settings);
    return written;
}

} // namespace GnomeInterfaceSettings
