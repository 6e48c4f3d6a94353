#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// A detached copy of everything on the clipboard: each format with its bytes, in the owner's order.
struct ClipboardContents
{
    struct Format
    {
        QString mimeType;
        QByteArray data;

        bool operator==(const Format&) const = default;
    };

    QList<Format> formats;

    bool isEmpty() const { return formats.isEmpty(); }
    bool operator==(const ClipboardContents&) const = default;
};
