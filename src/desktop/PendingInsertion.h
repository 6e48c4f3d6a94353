#pragma once

#include "desktop/ClipboardContents.h"
#include "desktop/PasteMethod.h"
#include "desktop/RunningApp.h"

#include <QDeadlineTimer>
#include <QObject>
#include <optional>

class Clipboard;
class KeystrokePlatform;

// One paste in flight: the clipboard already holds the text; the paste key and the restore follow on
// timers. Deletes itself once the clipboard is back.
class PendingInsertion : public QObject
{
    Q_OBJECT

public:
    PendingInsertion(Clipboard& clipboard, KeystrokePlatform& keystrokes, QObject* parent);

    void start(const QString& text, const std::optional<RunningApp>& into);

private:
    void paste();
    void restore();

    Clipboard& m_clipboard;
    KeystrokePlatform& m_keystrokes;
    QString m_text;
    ClipboardContents m_saved;
    std::optional<QString> m_savedSelection;
    PasteMethod m_method;
    std::optional<RunningApp> m_into;
    quint64 m_ourChange = 0;
    QDeadlineTimer m_readyDeadline;
    quint64 m_servedBeforePaste = 0;
    QDeadlineTimer m_restoreDeadline;
};
