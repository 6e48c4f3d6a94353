#include "desktop/PendingInsertion.h"

#include "desktop/Clipboard.h"
#include "desktop/Keystroke.h"
#include "desktop/KeystrokePlatform.h"

#include <QTimer>

PendingInsertion::PendingInsertion(Clipboard& clipboard, KeystrokePlatform& keystrokes, QObject* parent)
    : QObject(parent), m_clipboard(clipboard), m_keystrokes(keystrokes)
{}

void PendingInsertion::start(const QString& text, const std::optional<RunningApp>& into)
{
    m_text = text;
    m_saved = m_clipboard.save();
    m_method = PasteMethod::forWindowClass(into ? into->windowClass : QString());
    m_clipboard.setTransientText(text);
    m_ourChange = m_clipboard.changeCount();
    // Only for terminals: taking the selection from an editor would clear the selection we replace.
    if (m_method.fromSelection) {
        m_savedSelection = m_clipboard.selectionText();
        m_clipboard.setSelectionText(text);
    }
    m_into = into;
    if (into) {
        m_keystrokes.activate(*into);
    }
    QTimer::singleShot(Keystroke::pasteDelay, this, [this] {
        m_readyDeadline = QDeadlineTimer(Keystroke::readyWait);
        paste();
    });
}

void PendingInsertion::paste()
{
    // A paste key combined with a key the user still holds (the hot key, a modifier), or sent before
    // the application is back in front, lands elsewhere.
    const bool ready = !m_keystrokes.keysHeld() && (!m_into || m_keystrokes.isActive(*m_into));
    if (!ready && !m_readyDeadline.hasExpired()) {
        QTimer::singleShot(Keystroke::readyPoll, this, &PendingInsertion::paste);
        return;
    }
    m_servedBeforePaste = m_clipboard.servedCount();
    m_keystrokes.sendKey(m_method.chord);
    m_restoreDeadline = QDeadlineTimer(Keystroke::restoreWait);
    QTimer::singleShot(Keystroke::restoreDelay, this, &PendingInsertion::restore);
}

void PendingInsertion::restore()
{
    // The application asks for the text when it handles the key; restored before that, it would paste
    // the previous clipboard.
    if (m_clipboard.servedCount() == m_servedBeforePaste && !m_restoreDeadline.hasExpired()) {
        QTimer::singleShot(Keystroke::readyPoll, this, &PendingInsertion::restore);
        return;
    }
    // Whatever was copied after our paste is the user's newer choice and stays.
    if (!m_saved.isEmpty() && m_clipboard.changeCount() == m_ourChange) {
        m_clipboard.restore(m_saved);
    }
    // The terminal's selection is the user's too: give it back unless it has been replaced meanwhile.
    if (m_savedSelection && m_clipboard.selectionText() == m_text) {
        m_clipboard.setSelectionText(*m_savedSelection);
    }
    deleteLater();
}
