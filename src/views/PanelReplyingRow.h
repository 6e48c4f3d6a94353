#pragma once

#include <QWidget>

class QLabel;
class Session;

// The message the answer will reply to, on a muted rounded box: the clipboard symbol, the message's
// first lines and a button that stops using it.
class PanelReplyingRow : public QWidget
{
    Q_OBJECT
public:
    explicit PanelReplyingRow(Session& session, QWidget* parent = nullptr);

    // The message's preview, cut to three lines, and its tooltip.
    void showMessage(const QString& preview, const QString& toolTip);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void applyTheme();

    QLabel* m_symbol;
    QLabel* m_text;
};
