#pragma once

#include "core/base/Executor.h"

#include <deque>
#include <mutex>
#include <utility>

namespace nomara::testing {

/// Stands for the main thread: keeps what is posted until the test runs it. Posting is safe from any thread.
class PostedWork {
public:
    Executor executor() {
        return [this](std::function<void()> work) {
            const std::lock_guard lock(m_mutex);
            m_work.push_back(std::move(work));
        };
    }

    /// Runs what has been posted, and what that posts, on the calling thread; gives how many pieces it were.
    std::size_t run() {
        std::size_t count = 0;
        for (;; ++count) {
            std::unique_lock lock(m_mutex);
            if (m_work.empty()) return count;
            const std::function<void()> piece = std::move(m_work.front());
            m_work.pop_front();
            lock.unlock();
            piece();
        }
    }

private:
    std::mutex m_mutex; // guards m_work
    std::deque<std::function<void()>> m_work;
};

} // namespace nomara::testing
