#pragma once

#include <Qt>

// One key with its modifiers, named by Qt's portable key codes.
struct KeyChord
{
    Qt::Key key = Qt::Key_unknown;
    Qt::KeyboardModifiers modifiers;

    bool operator==(const KeyChord&) const = default;
};
