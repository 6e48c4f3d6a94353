#pragma once

#include "desktop/HotKeyPlatform.h"
#include "desktop/KeyChord.h"

#include <QObject>

// One system-wide shortcut, registered at construction for the life of the object. Presses and
// releases arrive as signals on the main thread, in the order the system reported them.
class HotKey : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isRegistered READ isRegistered CONSTANT)

public:
    static constexpr quint32 signature = 0x4452564E;

    HotKey(const KeyChord& chord, HotKeyPlatform& platform, QObject* parent = nullptr);
    ~HotKey() override;

    quint32 id() const { return m_id; }
    KeyChord chord() const { return m_chord; }
    bool isRegistered() const { return m_registered; }

    // Called by platform adapters from any thread; unknown ids are dropped.
    static void deliver(HotKeyId id, bool pressed);

signals:
    void pressed();
    void released();

private:
    quint32 m_id;
    KeyChord m_chord;
    HotKeyPlatform& m_platform;
    bool m_registered = false;
};
