#include "desktop/Keystroke.h"

#include "desktop/DesktopPlatform.h"
#include "desktop/PendingInsertion.h"

#include <QCoreApplication>

namespace Keystroke {

void insert(DesktopPlatform& desktop, const QString& text, const std::optional<RunningApp>& into)
{
    auto* insertion =
        new PendingInsertion(desktop.clipboard(), desktop.keystrokes(), QCoreApplication::instance());
    insertion->start(text, into);
}

} // namespace Keystroke
