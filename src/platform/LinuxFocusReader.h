#pragma once

#include "desktop/FocusReader.h"

class AtspiAccessibility;
class X11Windows;

// The frontmost window from the window manager, its text through AT-SPI, and the PRIMARY selection
// for applications without accessibility (terminals).
class LinuxFocusReader : public FocusReader
{
public:
    LinuxFocusReader(X11Windows& windows, AtspiAccessibility& accessibility);

    std::optional<RunningApp> frontmostApp() override;
    bool isTrusted(QDeadlineTimer deadline) override;
    std::optional<FocusedElement> focusedElement(const std::optional<RunningApp>& app,
                                                 QDeadlineTimer deadline) override;
    std::optional<QString> fallbackSelection(const std::optional<RunningApp>& app,
                                             QDeadlineTimer deadline) override;
    std::optional<QString> clipboardText(QDeadlineTimer deadline) override;

private:
    X11Windows& m_windows;
    AtspiAccessibility& m_accessibility;
};
