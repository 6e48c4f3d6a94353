#pragma once

#include "desktop/ClipboardContents.h"

#include <QString>
#include <optional>

// The system clipboard as insertion needs it. Reads never fail: what cannot be read is absent.
class Clipboard
{
public:
    virtual ~Clipboard() = default;

    virtual ClipboardContents save() = 0;
    virtual void restore(const ClipboardContents& contents) = 0;
    // Puts text on the clipboard as a copy the user made: it stays, and clipboard managers keep it.
    virtual void setText(const QString& text) = 0;
    // Puts text on the clipboard, marked so that clipboard managers leave it out of their history.
    virtual void setTransientText(const QString& text) = 0;
    // The selection that terminals paste from (PRIMARY on X11), and putting text there.
    virtual std::optional<QString> selectionText() = 0;
    virtual void setSelectionText(const QString& text) = 0;
    // Grows by one whenever the clipboard's contents change, whoever changed them.
    virtual quint64 changeCount() = 0;
    // Grows by one whenever another application is handed the text of setTransientText or
    // setSelectionText: a paste has read it.
    virtual quint64 servedCount() = 0;
};
