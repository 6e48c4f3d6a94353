#include "desktop/x11/X11FocusReader.h"

#include "desktop/atspi/AtspiAccessibility.h"
#include "desktop/x11/X11Windows.h"

#include <QClipboard>
#include <QGuiApplication>

X11FocusReader::X11FocusReader(X11Windows& windows, AtspiAccessibility& accessibility)
    : m_windows(windows), m_accessibility(accessibility)
{}

std::optional<RunningApp> X11FocusReader::frontmostApp()
{
    return m_windows.frontmost();
}

bool X11FocusReader::isTrusted()
{
    return m_accessibility.isEnabled();
}

std::optional<FocusedElement> X11FocusReader::focusedElement(const std::optional<RunningApp>& app)
{
    if (!app) {
        return std::nullopt;
    }
    return m_accessibility.focusedElement(app->processId);
}

std::optional<QString> X11FocusReader::fallbackSelection(const std::optional<RunningApp>& app)
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
