#pragma once

#include <QObject>
#include <memory>

class DesktopPlatform;
class Dictation;
class FloatingWindowPlatform;

// The composition root's factory: the real adapters of the platform this build targets, behind the
// portable interfaces. Only the application and the tests call it; portable code is handed what it
// creates.
namespace Platform {

// The desktop of this session (X11 with AT-SPI accessibility). Needs a QGuiApplication.
std::unique_ptr<DesktopPlatform> createDesktop();

// The window manager's side of floating windows such as the panel. Needs a QGuiApplication.
std::unique_ptr<FloatingWindowPlatform> createFloatingWindows();

// Dictation from the sound server's default microphone into the offline recogniser, whose model loads
// at the first press and is released again after idle minutes.
std::unique_ptr<Dictation> createDictation(QObject* parent = nullptr);

} // namespace Platform
