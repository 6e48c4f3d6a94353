#pragma once

#include "desktop/Clipboard.h"

#include <QObject>

// The system clipboard through Qt, which speaks each platform's clipboard protocol.
class QtClipboard : public QObject, public Clipboard
{
    Q_OBJECT

public:
    explicit QtClipboard(QObject* parent = nullptr);

    std::optional<QString> text() override;
    ClipboardContents save() override;
    void restore(const ClipboardContents& contents) override;
    void setText(const QString& text) override;
    void setTransientText(const QString& text) override;
    std::optional<QString> selectionText() override;
    void setSelectionText(const QString& text) override;
    quint64 changeCount() override { return m_changeCount; }

private:
    quint64 m_changeCount = 0;
};
