#pragma once

#include <QObject>
#include <QTimer>

class PanelPresenter;
class Session;

// Turns the presses and releases of the two shortcuts into what the user meant: a tap opens the panel
// for typing, a hold dictates until the release, a press while a request is open closes it, and the
// reply shortcut toggles a reply to the clipboard text.
class HotKeyGestures : public QObject
{
    Q_OBJECT
public:
    static constexpr int holdThresholdMs = 300;

    HotKeyGestures(Session& session, PanelPresenter& panel, QObject* parent = nullptr);

    void askPressed();
    void askReleased();
    // A press and release in one, for desktops where the shortcut is bound outside the application.
    void tap();
    // The reply shortcut and the menu's reply item: opens a reply when idle, closes anything else.
    void replyToClipboard();
    // The menu's and the home window's ask: always a fresh typed request.
    void askForTyping();

private:
    void holdReached();

    Session& m_session;
    PanelPresenter& m_panel;
    QTimer m_holdTimer;
    // From an accepted press until its release.
    bool m_pressed = false;
};
