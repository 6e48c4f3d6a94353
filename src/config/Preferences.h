#pragma once

#include <QObject>
#include <QString>

// The user's preferences (auto-insert and the ask shortcut), stored in the user settings, and the
// process-wide signal that tells every place showing it that it changed.
class Preferences : public QObject
{
    Q_OBJECT
public:
    static inline const QString autoInsertKey = QStringLiteral("autoInsert");
    static inline const QString askShortcutKey = QStringLiteral("askShortcut");
    static inline const QString defaultAskShortcut = QStringLiteral("Alt+Space");
    // The name of the change notification wherever a name is needed (the object's name, for one).
    static inline const QString didChangeName = QStringLiteral("MorvikPreferencesDidChange");

    // The one instance, created on first use; its didChange is the notification.
    static Preferences& shared();

    // Read afresh from the settings every time: false when nothing is stored.
    static bool autoInsert();
    // Stores the value, then emits didChange, even when the value was already stored.
    static void setAutoInsert(bool enabled);

    // The ask shortcut in portable key-sequence text ("Alt+Space" when nothing is stored); the reply
    // shortcut is the same plus Shift.
    static QString askShortcut();
    // Stores the shortcut, then emits didChange.
    static void setAskShortcut(const QString& shortcut);

signals:
    void didChange();

private:
    Preferences();
};
