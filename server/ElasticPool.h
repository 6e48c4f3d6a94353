#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <httplib.h>
#include <mutex>
#include <thread>
#include <vector>

// Worker threads for the server's connections, started as they are needed up to a maximum, so that an
// idle service holds a few threads and a busy one as many as it has connections. A thread that has
// been started stays for the life of the server.
class ElasticPool : public httplib::TaskQueue
{
public:
    explicit ElasticPool(int maxThreads);
    ~ElasticPool() override;

    void enqueue(std::function<void()> job) override;
    void shutdown() override;

private:
    void work();

    int m_maxThreads;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_jobs;
    std::vector<std::thread> m_threads;
    int m_idle = 0;
    bool m_stopping = false;
};
