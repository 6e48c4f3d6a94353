#pragma once

#include "desktop/Clipboard.h"

#include <QObject>
#include <memory>

// The system clipboard through Qt, which speaks each platform's clipboard protocol.
class QtClipboard : public QObject, public Clipboard
{
    Q_OBJECT

public:
    explicit QtClipboard(QObject* parent = nullptr);

    ClipboardContents save() override;
    void restore(const ClipboardContents& contents) override;
    void setText(const QString& text) override;
    void setTransientText(const QString& text) override;
    std::optional<QString> selectionText() override;
    void setSelectionText(const QString& text) override;
    quint64 changeCount() override { return m_changeCount; }
    quint64 servedCount() override { return m_serves->served; }

    // What the text this process put on the clipboard was asked for; shared with that text, which
    // the clipboard may keep after this object is gone.
    struct Serves
    {
        quint64 served = 0;
        // Reads of our own text from here do not count.
        int ownReads = 0;
    };

private:
    quint64 m_changeCount = 0;
    std::shared_ptr<Serves> m_serves = std::make_shared<Serves>();
};
