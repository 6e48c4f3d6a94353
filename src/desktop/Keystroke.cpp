#include "desktop/Keystroke.h"

#include "desktop/DesktopPlatform.h"
#include "desktop/KeystrokePlatform.h"
#include "desktop/PendingInsertion.h"

#include <QCoreApplication>

namespace Keystroke {

void send(const KeyChord& chord)
{
    DesktopPlatform::system().keystrokes().sendKey(chord);
}

void insert(const QString& text, const std::optional<RunningApp>& into)
{
    DesktopPlatform& platform = DesktopPlatform::system();
    auto* insertion =
        new PendingInsertion(platform.clipboard(), platform.keystrokes(), QCoreApplication::instance());
    insertion->start(text, into);
}

} // namespace Keystroke
