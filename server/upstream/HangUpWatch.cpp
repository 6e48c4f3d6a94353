#include "HangUpWatch.h"

#include "AnswerEngine.h"

HangUpWatch::HangUpWatch(EventSink& sink, std::function<void()> onGone)
    : m_sink(sink), m_onGone(std::move(onGone)), m_thread(&HangUpWatch::watch, this)
{}

HangUpWatch::~HangUpWatch()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void HangUpWatch::watch()
{
    std::unique_lock lock(m_mutex);
    while (!m_wake.wait_for(lock, interval, [this] { return m_stopping; })) {
        if (!m_sink.agentConnected()) {
            m_onGone();
            return;
        }
    }
}
