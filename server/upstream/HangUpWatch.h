#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

class EventSink;

// Keeps asking whether the agent is still there while an upstream request runs, so that a hang-up is
// noticed even while the model server sends nothing; `onGone` runs once, on the watch's own thread.
class HangUpWatch
{
public:
    static constexpr std::chrono::milliseconds interval{100};

    HangUpWatch(EventSink& sink, std::function<void()> onGone);
    ~HangUpWatch();
    HangUpWatch(const HangUpWatch&) = delete;
    HangUpWatch& operator=(const HangUpWatch&) = delete;

private:
    void watch();

    EventSink& m_sink;
    std::function<void()> m_onGone;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stopping = false;
    std::thread m_thread;
};
