#pragma once

#include <atomic>
#include <cstddef>

// The bytes of request bodies that all connections together may hold while they are received: each
// body is capped on its own, but a thousand capped bodies at once would still exhaust the memory.
class BodyBudget
{
public:
    explicit BodyBudget(std::size_t limit) : m_limit(limit) {}

    // Takes bytes from the budget; false, taking nothing, when they would go past it.
    bool take(std::size_t bytes)
    {
        std::size_t used = m_used.load();
        do {
            if (bytes > m_limit - used)
                return false;
        } while (!m_used.compare_exchange_weak(used, used + bytes));
        return true;
    }
    void give(std::size_t bytes) { m_used -= bytes; }

private:
    const std::size_t m_limit;
    std::atomic<std::size_t> m_used{0};
};
