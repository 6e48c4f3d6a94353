#include "platform/LinuxFocusReader.h"

#include "desktop/atspi/AtspiAccessibility.h"
#include "desktop/x11/X11Selection.h"
#include "desktop/x11/X11Windows.h"

LinuxFocusReader::LinuxFocusReader(X11Windows& windows, AtspiAccessibility& accessibility)
    : m_windows(windows), m_accessibility(accessibility)
{}

std::optional<RunningApp> LinuxFocusReader::frontmostApp()
{
    return m_windows.frontmost();
}

bool LinuxFocusReader::isTrusted(QDeadlineTimer deadline)
{
    return m_accessibility.isEnabled(deadline);
}

std::optional<FocusedElement> LinuxFocusReader::focusedElement(const std::optional<RunningApp>& app,
                                                               QDeadlineTimer deadline)
{
    if (!app) {
        return std::nullopt;
    }
    return m_accessibility.focusedElement(app->processId, deadline);
}

std::optional<QString> LinuxFocusReader::fallbackSelection(const std::optional<RunningApp>& app,
                                                           QDeadlineTimer deadline)
{
    // PRIMARY outlives the selection it came from: trust it only while the frontmost app owns it.
    if (!app || app->processId <= 0 || m_windows.primarySelectionProcess() != app->processId) {
        return std::nullopt;
    }
    std::optional<QString> text = X11Selection::readPrimary(deadline);
    if (text && text->isEmpty()) {
        return std::nullopt;
    }
    return text;
}

std::optional<QString> LinuxFocusReader::clipboardText(QDeadlineTimer deadline)
{
    return X11Selection::readClipboard(deadline);
}
