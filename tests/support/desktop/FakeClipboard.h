#pragma once

#include "desktop/Clipboard.h"

// An in-memory clipboard; copyByUser() stands for another application copying something.
class FakeClipboard : public Clipboard
{
public:
    static inline const QString plainText = QStringLiteral("text/plain");

    ClipboardContents contents;
    std::optional<QString> selection;
    quint64 changes = 0;

    static ClipboardContents textContents(const QString& text) { return {{{plainText, text.toUtf8()}}}; }

    void copyByUser(const ClipboardContents& newContents)
    {
        contents = newContents;
        ++changes;
    }

    std::optional<QString> text() override
    {
        for (const ClipboardContents::Format& format : contents.formats) {
            if (format.mimeType == plainText) {
                return QString::fromUtf8(format.data);
            }
        }
        return std::nullopt;
    }
    ClipboardContents save() override { return contents; }
    void restore(const ClipboardContents& saved) override { copyByUser(saved); }
    void setText(const QString& text) override { copyByUser(textContents(text)); }
    void setTransientText(const QString& text) override
    {
        ClipboardContents marked = textContents(text);
        marked.formats.append({QStringLiteral("x-kde-passwordManagerHint"), "secret"});
        copyByUser(marked);
    }
    void setSelectionText(const QString& text) override { selection = text; }
    quint64 changeCount() override { return changes; }
};
