#pragma once

#include <QWidget>

class AnswerText;
class PanelActionRow;
class PanelAdjustRow;
class PanelHeader;
class PanelReplyingRow;
class PanelRequestRows;
class QLabel;
class Session;

// The content of the floating panel: one session as it moves through its phases. It stacks the rows
// and decides from the session's phase which of them show and what they say; it keeps no request state
// of its own, and every action of a row is a session operation.
class PanelView : public QWidget
{
    Q_OBJECT
public:
    static constexpr int panelWidth = 420;
    static constexpr int padding = 16;
    static constexpr int rowSpacing = 10;
    static constexpr int copiedPreviewLength = 160;
    static constexpr int selectionPreviewLength = 140;

    explicit PanelView(Session& session, QWidget* parent = nullptr);

    // The first `limit` characters (as a reader counts them) and "…" when there were more.
    static QString preview(const QString& text, int limit);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void connectSession();
    void refresh();
    QString title() const;
    void phaseChanged();
    void answerChanged();
    void applyTheme();
    void focusForPhase();

    Session& m_session;
    bool m_appendArrived = false;

    PanelHeader* m_header;
    PanelReplyingRow* m_replying;
    QLabel* m_selection;
    PanelRequestRows* m_request;
    AnswerText* m_answer;
    QLabel* m_error;
    PanelAdjustRow* m_adjust;
    PanelActionRow* m_actions;
};
