#pragma once

#include <QWidget>

class QLabel;
class ThemedCheckBox;

// The panel's first row: the mark, the phase's title with a busy indicator while the panel waits,
// the application the request is about, and the auto-insert preference, kept in step both ways.
class PanelHeader : public QWidget
{
    Q_OBJECT
public:
    explicit PanelHeader(QWidget* parent = nullptr);

    void showPhase(const QString& title, bool busy);
    // The name of the application in front; an empty one hides it.
    void showApp(const QString& name);

private:
    QLabel* m_title;
    QWidget* m_busy;
    QLabel* m_appName;
    ThemedCheckBox* m_autoInsert;
};
