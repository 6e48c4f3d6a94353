#pragma once

#include "desktop/FloatingWindowPlatform.h"

#include <QList>

// Remembers the windows it was asked to activate; the offscreen platform composites.
class FakeFloatingWindows : public FloatingWindowPlatform
{
public:
    void keepOnEveryWorkspace(WId) override {}
    void activate(WId window) override { activated.append(window); }
    bool hasCompositor() override { return true; }

    QList<WId> activated;
};
