#pragma once

#include <QWidget>

class OutlineButtonStyle;
class PrimaryButtonStyle;
class QLabel;
class Session;

// The panel's last row: the buttons of what the session's phase allows (ask, reply or reply to the
// copied text while typing; insert, copy, open and try again with an answer), the route the answer
// took, and Close. It reads the clipboard as typing begins and whenever it changes, to offer
// replying to it only when it holds text.
class PanelActionRow : public QWidget
{
    Q_OBJECT
public:
    explicit PanelActionRow(Session& session, QWidget* parent = nullptr);

    // Shows the buttons and the route of the session as it is now.
    void refresh();

private:
    void phaseChanged();
    void readClipboard();
    // The tooltip names the shortcut in force in this desktop's words.
    void localize();

    Session& m_session;
    int m_lastPhase = -1;
    bool m_clipboardHasText = false;
    PrimaryButtonStyle* m_insert;
    OutlineButtonStyle* m_copy;
    OutlineButtonStyle* m_open;
    OutlineButtonStyle* m_tryAgain;
    PrimaryButtonStyle* m_ask;
    OutlineButtonStyle* m_replyToCopied;
    QLabel* m_route;
};
