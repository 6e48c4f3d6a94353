#include "platform/LinuxFocusReader.h"

#include "desktop/atspi/AtspiAccessibility.h"
#include "desktop/x11/X11Windows.h"

#include <QClipboard>
#include <QGuiApplication>

LinuxFocusReader::LinuxFocusReader(X11Windows& windows, AtspiAccessibility& accessibility)
    : m_windows(windows), m_accessibility(accessibility)
{}

std::optional<RunningApp> LinuxFocusReader::frontmostApp()
{
    return m_windows.frontmost();
}

bool LinuxFocusReader::isTrusted()
{
    return m_accessibility.isEnabled();
}

std::optional<FocusedElement> LinuxFocusReader::focusedElement(const std::optional<RunningApp>& app)
{
    if (!app) {
        return std::nullopt;
    }
    return m_accessibility.focusedElement(app->processId);
}

std::optional<QString> LinuxFocusReader::fallbackSelection(const std::optional<RunningApp>& app)
{
    // PRIMARY outlives the selection it came from: trust it only while the frontmost app owns it.
    if (!app || app->processId <= 0 || m_windows.primarySelectionProcess() != app->processId) {
        return std::nullopt;
    }
    const QString text = QGuiApplication::clipboard()->text(QClipboard::Selection);
    if (text.isEmpty()) {
        return std::nullopt;
    }
    return text;
}
