#include "app/HotKeyGestures.h"

#include "app/PanelPresenter.h"
#include "desktop/Dictation.h"
#include "session/Session.h"

HotKeyGestures::HotKeyGestures(Session& session, PanelPresenter& panel, QObject* parent)
    : QObject(parent), m_session(session), m_panel(panel)
{
    m_holdTimer.setSingleShot(true);
    m_holdTimer.setInterval(holdThresholdMs);
    connect(&m_holdTimer, &QTimer::timeout, this, &HotKeyGestures::holdReached);
}

void HotKeyGestures::askPressed()
{
    const Session::Phase::Kind phase = m_session.phase().kind;
    if (phase != Session::Phase::Idle && phase != Session::Phase::Listening) {
        m_session.close();
        return;
    }
    // The microphone opens now, so that words spoken before the hold is recognised are kept.
    m_session.dictation().arm();
    m_pressed = true;
    m_holdTimer.start();
}

void HotKeyGestures::holdReached()
{
    if (!m_pressed)
        return;
    m_session.begin(true, false);
    m_panel.showPanel(false);
}

void HotKeyGestures::askReleased()
{
    m_holdTimer.stop();
    const bool pressed = std::exchange(m_pressed, false);
    if (m_session.phase().kind == Session::Phase::Listening) {
        m_session.finishListening();
        return;
    }
    if (!pressed)
        return;
    // A tap, or a hold whose dictation never got going: the user types instead.
    m_session.dictation().disarm();
    askForTyping();
}

void HotKeyGestures::tap()
{
    switch (m_session.phase().kind) {
    case Session::Phase::Idle:
        askForTyping();
        return;
    case Session::Phase::Listening:
        m_session.finishListening();
        return;
    default:
        m_session.close();
        return;
    }
}

void HotKeyGestures::replyToClipboard()
{
    if (m_session.phase().kind != Session::Phase::Idle) {
        m_session.close();
        return;
    }
    m_session.begin(false, true);
    m_panel.showPanel(true);
}

void HotKeyGestures::askForTyping()
{
    m_session.begin(false, false);
    m_panel.showPanel(true);
}
