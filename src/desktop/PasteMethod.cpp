#include "desktop/PasteMethod.h"

#include <QSet>

namespace {

// Terminals whose Shift+Insert pastes the PRIMARY selection (Ctrl+V there sends a control character).
const QSet<QString> selectionPastingTerminals = {
    QStringLiteral("xterm"), QStringLiteral("uxterm"),      QStringLiteral("urxvt"),
    QStringLiteral("rxvt"),  QStringLiteral("st-256color"), QStringLiteral("st"),
};

// Terminals that paste the clipboard with Ctrl+Shift+V.
const QSet<QString> clipboardPastingTerminals = {
    QStringLiteral("gnome-terminal-server"),
    QStringLiteral("gnome-terminal"),
    QStringLiteral("konsole"),
    QStringLiteral("xfce4-terminal"),
    QStringLiteral("mate-terminal"),
    QStringLiteral("lxterminal"),
    QStringLiteral("qterminal"),
    QStringLiteral("tilix"),
    QStringLiteral("terminator"),
    QStringLiteral("alacritty"),
    QStringLiteral("kitty"),
    QStringLiteral("terminology"),
    QStringLiteral("sakura"),
    QStringLiteral("guake"),
    QStringLiteral("org.wezfurlong.wezterm"),
    QStringLiteral("foot"),
    QStringLiteral("kgx"),
    QStringLiteral("blackbox"),
};

} // namespace

PasteMethod PasteMethod::forWindowClass(const QString& windowClass)
{
    const QString name = windowClass.toLower();
    if (selectionPastingTerminals.contains(name)) {
        return {{Qt::Key_Insert, Qt::ShiftModifier}, true};
    }
    if (clipboardPastingTerminals.contains(name)) {
        return {{Qt::Key_V, Qt::ControlModifier | Qt::ShiftModifier}, false};
    }
    return {{Qt::Key_V, Qt::ControlModifier}, false};
}
