#pragma once

#include "desktop/Clipboard.h"
#include "desktop/KeystrokePlatform.h"

#include <QElapsedTimer>
#include <QList>
#include <QString>
#include <optional>

// Records synthetic keys and activations; each key remembers what the clipboard held when it was sent.
class FakeKeystrokePlatform : public KeystrokePlatform
{
public:
    struct SentKey
    {
        KeyChord chord;
        std::optional<QString> clipboardText;
        qint64 elapsedMs = 0;
    };

    explicit FakeKeystrokePlatform(Clipboard& clipboard) : m_clipboard(clipboard) { m_clock.start(); }

    QList<SentKey> sent;
    QList<RunningApp> activated;
    // How many more times keysHeld() answers true, as if the user were still letting go.
    int heldPolls = 0;

    void sendKey(const KeyChord& chord) override
    {
        sent.append({chord, m_clipboard.text(), m_clock.elapsed()});
    }
    bool keysHeld() override { return heldPolls > 0 && heldPolls-- > 0; }
    void activate(const RunningApp& app) override { activated.append(app); }

    // Milliseconds since this fake was created, on the clock that stamps the sent keys.
    qint64 elapsedMs() const { return m_clock.elapsed(); }

private:
    Clipboard& m_clipboard;
    QElapsedTimer m_clock;
};
