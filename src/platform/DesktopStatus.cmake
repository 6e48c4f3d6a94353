# What the home window reports about the desktop: the accessibility switch over D-Bus (and GNOME's
# settings key), and the voice equipment (the sound server's inputs, the pocketsphinx model).
find_package(Qt6 REQUIRED COMPONENTS Concurrent DBus Multimedia)
find_package(PkgConfig REQUIRED)
pkg_check_modules(TAVRIN_GIO REQUIRED IMPORTED_TARGET gio-2.0)
target_sources(tavrin_platform PRIVATE
  BusAccessibilitySwitch.cpp BusAccessibilitySwitch.h
  GnomeInterfaceSettings.cpp GnomeInterfaceSettings.h
  MicrophonePortal.cpp MicrophonePortal.h
  RunningQtApps.cpp RunningQtApps.h
  SystemVoiceCheck.cpp SystemVoiceCheck.h
)
target_link_libraries(tavrin_platform PUBLIC Qt6::DBus PRIVATE Qt6::Concurrent Qt6::Multimedia PkgConfig::TAVRIN_GIO)
