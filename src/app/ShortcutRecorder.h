#pragma once

#include "app/AskShortcuts.h"

#include <QDialog>
#include <QKeySequence>
#include <functional>

class QLabel;

// "Change…" of the hot-key row: records the next key combination pressed and hands it to the
// shortcuts at once. A refused one is explained and the dialog waits for another; Escape alone cancels.
class ShortcutRecorder : public QDialog
{
    Q_OBJECT
public:
    using Attempt = std::function<AskShortcuts::Outcome(const QKeySequence&)>;

    static inline const QString takenText =
        QStringLiteral("Taken by another app — quit it or change the shortcut");
    static inline const QString unusableText =
        QStringLiteral("Use Ctrl, Alt or Super with one key, without Shift (Shift is for replies)");

    ShortcutRecorder(const QKeySequence& current, Attempt attempt, QWidget* parent = nullptr);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void showProblem(const QString& text);

    Attempt m_attempt;
    QLabel* m_shortcut;
    QLabel* m_problem;
};
