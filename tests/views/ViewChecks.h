#pragma once

#include <QAbstractButton>
#include <QAccessible>
#include <QLineEdit>
#include <QStringList>
#include <QWidget>

// What every window must offer screen readers: each button and text field has a name.
inline QString accessibleName(QWidget* widget)
{
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(widget);
    return accessible ? accessible->text(QAccessible::Name) : QString();
}

// The controls shown under `root` that have no accessible name, by class and object name.
inline QStringList unnamedControls(QWidget* root)
{
    QStringList unnamed;
    for (QWidget* widget : root->findChildren<QWidget*>()) {
        const bool control = qobject_cast<QAbstractButton*>(widget) || qobject_cast<QLineEdit*>(widget);
        if (control && widget->isVisibleTo(root) && accessibleName(widget).trimmed().isEmpty())
            unnamed << QStringLiteral("%1 %2").arg(QString::fromLatin1(widget->metaObject()->className()),
                                                   widget->objectName());
    }
    return unnamed;
}

// The visible button under `root` with this text, or null.
template <typename Button = QAbstractButton> Button* visibleButton(QWidget* root, const QString& text)
{
    for (Button* button : root->findChildren<Button*>()) {
        if (button->text() == text && button->isVisibleTo(root))
            return button;
    }
    return nullptr;
}
