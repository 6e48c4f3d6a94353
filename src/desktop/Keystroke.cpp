#include "desktop/Keystroke.h"

#include "desktop/DesktopPlatform.h"
#include "desktop/PendingInsertion.h"

namespace Keystroke {

void insert(DesktopPlatform& desktop, const QString& text, const std::optional<RunningApp>& into)
{
    auto* insertion = new PendingInsertion(desktop.clipboard(), desktop.keystrokes(), &desktop.pendingWork());
    insertion->start(text, into);
}

} // namespace Keystroke
