#pragma once

#include "desktop/HotKey.h"
#include "desktop/HotKeyPlatform.h"

#include <QList>
#include <QMap>

// Shortcuts in memory; `taken` lists the chords another client holds.
class FakeHotKeyPlatform : public HotKeyPlatform
{
public:
    QList<KeyChord> taken;
    QMap<quint32, KeyChord> registered;
    QList<quint32> signatures;

    bool registerHotKey(HotKeyId id, const KeyChord& chord) override
    {
        signatures.append(id.signature);
        if (taken.contains(chord)) {
            return false;
        }
        registered.insert(id.id, chord);
        return true;
    }
    void unregisterHotKey(HotKeyId id) override { registered.remove(id.id); }

    // Reports a press or release to every hot key registered for the chord, as the system would.
    void deliver(const KeyChord& chord, bool pressed)
    {
        for (auto it = registered.cbegin(); it != registered.cend(); ++it) {
            if (it.value() == chord) {
                HotKey::deliver({HotKey::signature, it.key()}, pressed);
            }
        }
    }
};
