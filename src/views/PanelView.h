#pragma once

#include <QPointer>
#include <QWidget>

class AnswerText;
class IconButton;
class MorvikMark;
class OutlineButtonStyle;
class PrimaryButtonStyle;
class QBoxLayout;
class QLabel;
class QLineEdit;
class QProgressBar;
class QTextEdit;
class Session;
class ThemedCheckBox;

// The content of the floating panel: one session as it moves through its phases. It keeps no request
// state of its own; every row is rebuilt from the session, and every action is a session operation.
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
    QWidget* buildHeader();
    QWidget* buildReplying();
    QWidget* buildRequestRows();
    QWidget* buildAdjustRow();
    QWidget* buildFooter();
    void connectSession();
    void refresh();
    void refreshFooter();
    void localize();
    void applyTheme();
    void phaseChanged();
    void answerChanged();
    void readClipboard();
    void reveal(QWidget* row, qreal offset = 0);
    void focusForPhase();

    Session& m_session;
    int m_lastPhase = -1;
    bool m_appendArrived = false;
    bool m_clipboardHasText = false;

    MorvikMark* m_mark = nullptr;
    QLabel* m_title = nullptr;
    QProgressBar* m_busy = nullptr;
    QLabel* m_appName = nullptr;
    ThemedCheckBox* m_autoInsert = nullptr;

    QWidget* m_replying = nullptr;
    QLabel* m_replyingText = nullptr;
    QLabel* m_selection = nullptr;

    QLabel* m_listening = nullptr;
    QTextEdit* m_requestField = nullptr;
    QLabel* m_sentRequest = nullptr;

    QWidget* m_answerRow = nullptr;
    AnswerText* m_answer = nullptr;
    QLabel* m_error = nullptr;

    QWidget* m_adjustRow = nullptr;
    OutlineButtonStyle* m_shorter = nullptr;
    OutlineButtonStyle* m_longer = nullptr;
    QLineEdit* m_adjustField = nullptr;

    QWidget* m_footer = nullptr;
    PrimaryButtonStyle* m_insert = nullptr;
    OutlineButtonStyle* m_copy = nullptr;
    OutlineButtonStyle* m_open = nullptr;
    OutlineButtonStyle* m_tryAgain = nullptr;
    PrimaryButtonStyle* m_ask = nullptr;
    OutlineButtonStyle* m_replyToCopied = nullptr;
    QLabel* m_routeLabel = nullptr;
    IconButton* m_close = nullptr;
};
