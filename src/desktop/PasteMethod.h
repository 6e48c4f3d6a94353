#pragma once

#include "desktop/KeyChord.h"

#include <QString>

// How an application pastes: most take Ctrl+V from the clipboard, terminals have keys of their own.
struct PasteMethod
{
    KeyChord chord;
    bool fromSelection = false;

    static PasteMethod forWindowClass(const QString& windowClass);

    bool operator==(const PasteMethod&) const = default;
};
