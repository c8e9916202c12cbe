#pragma once

#include "core/base/Executor.h"

#include <mutex>
#include <utility>
#include <vector>

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

    /// Runs what has been posted so far, on the calling thread; gives how many pieces it were.
    std::size_t run() {
        std::vector<std::function<void()>> work;
        {
            const std::lock_guard lock(m_mutex);
            work.swap(m_work);
        }
        for (const auto& piece : work)
            piece();
        return work.size();
    }

private:
    std::mutex m_mutex; // guards m_work
    std::vector<std::function<void()>> m_work;
};

} // namespace nomara::testing
