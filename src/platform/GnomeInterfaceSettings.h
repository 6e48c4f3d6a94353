#pragma once

// GNOME's own accessibility switch, the "toolkit-accessibility" key of org.gnome.desktop.interface, which
// GNOME applications read besides the accessibility bus.
namespace GnomeInterfaceSettings {

// Sets the key when the schema is installed; false when there is no such schema or key.
bool enableToolkitAccessibility();

} // namespace GnomeInterfaceSettings
