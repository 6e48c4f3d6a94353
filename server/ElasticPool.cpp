#include "ElasticPool.h"

ElasticPool::ElasticPool(int maxThreads) : m_maxThreads(maxThreads) {}

ElasticPool::~ElasticPool()
{
    shutdown();
}

void ElasticPool::enqueue(std::function<void()> job)
{
    const std::lock_guard lock(m_mutex);
    m_jobs.push_back(std::move(job));
    if (m_idle < static_cast<int>(m_jobs.size()) && static_cast<int>(m_threads.size()) < m_maxThreads)
        m_threads.emplace_back([this] { work(); });
    else
        m_wake.notify_one();
}

void ElasticPool::shutdown()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    for (std::thread& thread : m_threads) {
        if (thread.joinable())
            thread.join();
    }
}

void ElasticPool::work()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        ++m_idle;
        m_wake.wait(lock, [this] { return !m_jobs.empty() || m_stopping; });
        --m_idle;
        if (m_jobs.empty())
            return;
        std::function<void()> job = std::move(m_jobs.front());
        m_jobs.pop_front();
        lock.unlock();
        job();
        lock.lock();
    }
}
