#pragma once

#include <QWidget>

class OutlineButtonStyle;
class QLineEdit;
class Session;

// The rework row under an answer: Shorter and Longer, each with its shortcut, and a field for any other
// instruction, which Return sends.
class PanelAdjustRow : public QWidget
{
    Q_OBJECT
public:
    explicit PanelAdjustRow(Session& session, QWidget* parent = nullptr);

    // The instruction as the session holds it.
    void showInstruction(const QString& instruction);
    void focusField();

private:
    // The tooltips name the shortcuts in this desktop's words.
    void localize();

    OutlineButtonStyle* m_shorter;
    OutlineButtonStyle* m_longer;
    QLineEdit* m_field;
};
