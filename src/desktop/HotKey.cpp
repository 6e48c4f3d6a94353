#include "desktop/HotKey.h"

#include <QCoreApplication>
#include <QHash>

namespace {

// Touched on the main thread only: creation, destruction and the queued deliveries.
quint32 nextId = 1;

QHash<quint32, HotKey*>& registry()
{
    static QHash<quint32, HotKey*> hotKeys;
    return hotKeys;
}

} // namespace

HotKey::HotKey(const KeyChord& chord, HotKeyPlatform& platform, QObject* parent)
    : QObject(parent), m_id(nextId++), m_chord(chord), m_platform(platform)
{
    registry().insert(m_id, this);
    m_registered = m_platform.registerHotKey({signature, m_id}, chord);
}

HotKey::~HotKey()
{
    if (m_registered) {
        m_platform.unregisterHotKey({signature, m_id});
    }
    registry().remove(m_id);
}

void HotKey::deliver(HotKeyId id, bool pressed)
{
    // The hot key is looked up when the queued call runs, so one destroyed meanwhile is skipped.
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [id, pressed] {
            HotKey* hotKey = registry().value(id.id);
            if (!hotKey) {
                return;
            }
            if (pressed) {
                emit hotKey->pressed();
            } else {
                emit hotKey->released();
            }
        },
        Qt::QueuedConnection);
}
