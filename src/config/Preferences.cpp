#include "config/Preferences.h"

#include <QSettings>

Preferences::Preferences()
{
    setObjectName(didChangeName);
}

Preferences& Preferences::shared()
{
    static Preferences instance;
    return instance;
}

bool Preferences::autoInsert()
{
    return QSettings().value(autoInsertKey, false).toBool();
}

void Preferences::setAutoInsert(bool enabled)
{
    QSettings().setValue(autoInsertKey, enabled);
    emit shared().didChange();
}

QString Preferences::askShortcut()
{
    return QSettings().value(askShortcutKey, defaultAskShortcut).toString();
}

void Preferences::setAskShortcut(const QString& shortcut)
{
    QSettings().setValue(askShortcutKey, shortcut);
    emit shared().didChange();
}
