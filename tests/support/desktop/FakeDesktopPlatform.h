#pragma once

#include "desktop/Clipboard.h"
#include "desktop/DesktopPlatform.h"
#include "desktop/FocusReader.h"
#include "desktop/HotKeyPlatform.h"
#include "desktop/KeystrokePlatform.h"

#include <QElapsedTimer>
#include <QList>
#include <QMap>

class FakeClipboard;

// A scripted view of the desktop: tests set the fields, capture reads them.
class FakeFocusReader : public FocusReader
{
public:
    std::optional<RunningApp> app;
    bool trusted = true;
    std::optional<FocusedElement> element;
    std::optional<QString> fallback;
    int fallbackReads = 0;
    // Read on the worker, like the system's clipboard; tests change it only before a read.
    const FakeClipboard* clipboard = nullptr;

    std::optional<RunningApp> frontmostApp() override { return app; }
    bool isTrusted(QDeadlineTimer) override { return trusted; }
    std::optional<FocusedElement> focusedElement(const std::optional<RunningApp>&, QDeadlineTimer) override
    {
        return element;
    }
    std::optional<QString> fallbackSelection(const std::optional<RunningApp>&, QDeadlineTimer) override
    {
        ++fallbackReads;
        return fallback;
    }
    std::optional<QString> clipboardText(QDeadlineTimer) override;
};

// An in-memory clipboard; copyByUser() stands for another application copying something.
class FakeClipboard : public Clipboard
{
public:
    ClipboardContents contents;
    std::optional<QString> selection;
    quint64 changes = 0;
    quint64 served = 0;

    static ClipboardContents textContents(const QString& text) { return {{{"text/plain", text.toUtf8()}}}; }
    void copyByUser(const ClipboardContents& newContents)
    {
        contents = newContents;
        ++changes;
    }

    std::optional<QString> text() const
    {
        for (const ClipboardContents::Format& format : contents.formats) {
            if (format.mimeType == QLatin1String("text/plain")) {
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
    std::optional<QString> selectionText() override { return selection; }
    void setSelectionText(const QString& text) override { selection = text; }
    quint64 changeCount() override { return changes; }
    quint64 servedCount() override { return served; }
};

inline std::optional<QString> FakeFocusReader::clipboardText(QDeadlineTimer)
{
    return clipboard ? clipboard->text() : std::nullopt;
}

// Records synthetic keys, each with what the clipboard held and the fake's age when it was sent.
class FakeKeystrokePlatform : public KeystrokePlatform
{
public:
    struct SentKey
    {
        KeyChord chord;
        std::optional<QString> clipboardText;
        qint64 elapsedMs = 0;
    };

    explicit FakeKeystrokePlatform(FakeClipboard& clipboard) : m_clipboard(clipboard) { clock.start(); }

    QList<SentKey> sent;
    QList<RunningApp> activated;
    // How many more times keysHeld() answers true, as if the user were still letting go.
    int heldPolls = 0;
    int backgroundPolls = 0;
    // Whether the application reads the clipboard as soon as the paste key arrives.
    bool readsOnPaste = true;
    QElapsedTimer clock;

    void sendKey(const KeyChord& chord) override
    {
        sent.append({chord, m_clipboard.text(), clock.elapsed()});
        if (readsOnPaste)
            ++m_clipboard.served;
    }
    bool keysHeld() override { return heldPolls > 0 && heldPolls-- > 0; }
    void activate(const RunningApp& app) override { activated.append(app); }
    // The last activated application is in front, once it has taken backgroundPolls more looks.
    bool isActive(const RunningApp& app) override
    {
        if (backgroundPolls > 0 && backgroundPolls-- > 0) {
            return false;
        }
        return !activated.isEmpty() && activated.last() == app;
    }

private:
    FakeClipboard& m_clipboard;
};

// Shortcuts in memory; `taken` lists the chords another client holds.
class FakeHotKeyPlatform : public HotKeyPlatform
{
public:
    QList<KeyChord> taken;
    QMap<quint32, KeyChord> registered;

    bool registerHotKey(HotKeyId id, const KeyChord& chord) override
    {
        if (taken.contains(chord)) {
            return false;
        }
        registered.insert(id.id, chord);
        return true;
    }
    void unregisterHotKey(HotKeyId id) override { registered.remove(id.id); }
};

// A whole fake desktop, handed to the code under test in place of the real one.
class FakeDesktopPlatform : public DesktopPlatform
{
public:
    FakeDesktopPlatform() { reader.clipboard = &board; }
    FakeDesktopPlatform(const FakeDesktopPlatform&) = delete;
    FakeDesktopPlatform& operator=(const FakeDesktopPlatform&) = delete;

    FakeFocusReader reader;
    FakeClipboard board;
    FakeKeystrokePlatform keys{board};
    FakeHotKeyPlatform shortcuts;

    FocusReader& focusReader() override { return reader; }
    KeystrokePlatform& keystrokes() override { return keys; }
    Clipboard& clipboard() override { return board; }
    HotKeyPlatform& hotKeys() override { return shortcuts; }
};
