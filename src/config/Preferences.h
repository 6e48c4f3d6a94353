#pragma once

#include <QObject>
#include <QString>

// The user's one preference, auto-insert, stored in the user settings, and the process-wide signal
// that tells every place showing it that it changed.
class Preferences : public QObject
{
    Q_OBJECT
public:
    static inline const QString autoInsertKey = QStringLiteral("autoInsert");
    // The name of the change notification wherever a name is needed (the object's name, for one).
    static inline const QString didChangeName = QStringLiteral("MorvikPreferencesDidChange");

    // The one instance, created on first use; its didChange is the notification.
    static Preferences& shared();

    // Read afresh from the settings every time: false when nothing is stored.
    static bool autoInsert();
    // Stores the value, then emits didChange, even when the value was already stored.
    static void setAutoInsert(bool enabled);

signals:
    void didChange();

private:
    Preferences();
};
