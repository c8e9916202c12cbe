#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

namespace nomara {

/// How much a queue's thread may get in the way of what the user is doing.
enum class QueueQuality {
    userInitiated, ///< somebody waits for the answer
    utility,       ///< lowered CPU priority
    background,    ///< lowered CPU and disk priority
};

/// Runs work one piece after another on a thread of its own.
/// `async`, `sync` and `repeat` may be called from any thread; work runs on the queue's thread alone. What a piece of
/// work throws is logged, and ends that piece alone.
/// The destructor runs what is already queued, then ends the thread; it must not run on the queue itself.
class SerialQueue {
public:
    using Work = std::function<void()>;

    /// Cancels its repetition when destroyed; a run under way on the queue is not waited for.
    class Timer {
    public:
        virtual ~Timer() = default;
    };

    explicit SerialQueue(std::string label, QueueQuality quality);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void async(Work work);

    /// Runs `body` on the queue and waits; passes on what it returns or throws. Called from the queue itself it would
    /// wait for good, and is a programming error.
    template <typename Body>
    auto sync(Body&& body) -> std::invoke_result_t<Body> {
        // Shared: the waiting thread may leave before the queue's thread has returned from the task.
        auto task = std::make_shared<std::packaged_task<std::invoke_result_t<Body>()>>(std::forward<Body>(body));
        auto result = task->get_future();
        async([task] { (*task)(); });
        return result.get();
    }

    /// Runs `work` on the queue after `firstSeconds`, then every `intervalSeconds`. A firing that comes late happens
    /// once, not once for each one missed. `leewaySeconds` is how late a firing may be to save wake-ups.
    std::unique_ptr<Timer> repeat(double firstSeconds, double intervalSeconds, double leewaySeconds, Work work);

    bool isCurrent() const;
    /// Ends the process in debug builds when the caller isn't on the queue.
    void assertCurrent() const;
    const std::string& label() const { return m_label; }

private:
    struct Repetition;
    class TimerHandle;
    using Moment = std::chrono::steady_clock::time_point;

    void run();
    void sleepUntilFirst(std::unique_lock<std::mutex>& lock);
    void perform(const Work& work) const;

    const std::string m_label;
    const QueueQuality m_quality;
    // m_mutex guards the four fields below it.
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Work> m_work;
    std::multimap<Moment, std::shared_ptr<Repetition>> m_repetitions;
    bool m_ending = false;
    std::thread m_thread;
};

} // namespace nomara
