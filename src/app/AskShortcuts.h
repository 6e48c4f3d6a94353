#pragma once

#include <QKeySequence>
#include <QObject>
#include <memory>

class HotKey;
class HotKeyPlatform;

// The two system-wide shortcuts: ask (tap or hold) and reply, which is the ask shortcut plus Shift.
// Changing them registers the new pair first and releases the old pair only once the new one is held,
// so a shortcut taken by another program leaves the previous one working.
class AskShortcuts : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool isRegistered READ isRegistered NOTIFY shortcutChanged)
    Q_PROPERTY(QKeySequence shortcut READ shortcut NOTIFY shortcutChanged)

public:
    enum class Outcome { Registered, Taken, Unusable };

    explicit AskShortcuts(HotKeyPlatform& platform, QObject* parent = nullptr);
    ~AskShortcuts() override;

    // A shortcut must be one key with Ctrl, Alt or Super, and without Shift, which the reply adds.
    static bool isUsable(const QKeySequence& shortcut);
    static QKeySequence replyShortcut(const QKeySequence& shortcut);

    // At launch: registers whatever it can, so that the home window can report a taken shortcut.
    void install(const QKeySequence& shortcut);
    // At run time: the new pair replaces the old one only when the system grants both.
    Outcome change(const QKeySequence& shortcut);

    bool isRegistered() const;
    QKeySequence shortcut() const { return m_shortcut; }

signals:
    void askPressed();
    void askReleased();
    void replyPressed();
    void shortcutChanged();

private:
    struct Pair;
    std::unique_ptr<Pair> registerPair(const QKeySequence& shortcut);
    void adopt(std::unique_ptr<Pair> pair, const QKeySequence& shortcut);

    HotKeyPlatform& m_platform;
    std::unique_ptr<Pair> m_pair;
    QKeySequence m_shortcut;
};
