#include "core/base/SerialQueue.h"

#include "core/base/Log.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <exception>

#include <pthread.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace nomara {

namespace {

// Linux applies nice values and I/O classes to threads; the constants are those of linux/ioprio.h.
void lowerPriority(QueueQuality quality) {
    if (quality == QueueQuality::userInitiated) return;
    const auto thread = static_cast<id_t>(syscall(SYS_gettid));
    setpriority(PRIO_PROCESS, thread, quality == QueueQuality::utility ? 5 : 10);
    if (quality == QueueQuality::background) {
        constexpr int whoProcess = 1, classIdle = 3, classShift = 13;
        syscall(SYS_ioprio_set, whoProcess, thread, classIdle << classShift);
    }
}

// Linux keeps 15 bytes of a thread's name; the last words of a label tell most.
std::string threadName(const std::string& label) {
    return label.size() <= 15 ? label : label.substr(label.size() - 15);
}

} // namespace

struct SerialQueue::Repetition {
    std::chrono::steady_clock::duration interval;
    unsigned long leewayNanoseconds = 0;
    Work work;
    std::atomic<bool> cancelled = false;

    bool isCancelled() const { return cancelled; }
};

class SerialQueue::TimerHandle final : public SerialQueue::Timer {
public:
    explicit TimerHandle(std::shared_ptr<Repetition> repetition) : m_repetition(std::move(repetition)) {}
    ~TimerHandle() override { m_repetition->cancelled = true; }

private:
    std::shared_ptr<Repetition> m_repetition;
};

SerialQueue::SerialQueue(std::string label, QueueQuality quality)
    : m_label(std::move(label)), m_quality(quality), m_thread([this] { run(); }) {}

SerialQueue::~SerialQueue() {
    assert(!isCurrent());
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void SerialQueue::async(Work work) {
    {
        const std::lock_guard lock(m_mutex);
        m_work.push_back(std::move(work));
    }
    m_wake.notify_one();
}

std::unique_ptr<SerialQueue::Timer> SerialQueue::repeat(double firstSeconds, double intervalSeconds,
                                                        double leewaySeconds, Work work) {
    using std::chrono::duration, std::chrono::duration_cast, std::chrono::steady_clock;
    auto repetition = std::make_shared<Repetition>();
    repetition->interval = duration_cast<steady_clock::duration>(duration<double>(intervalSeconds));
    repetition->leewayNanoseconds = static_cast<unsigned long>(leewaySeconds * 1e9);
    repetition->work = std::move(work);
    {
        const std::lock_guard lock(m_mutex);
        m_repetitions.emplace(
            steady_clock::now() + duration_cast<steady_clock::duration>(duration<double>(firstSeconds)), repetition);
    }
    m_wake.notify_one();
    return std::make_unique<TimerHandle>(std::move(repetition));
}

bool SerialQueue::isCurrent() const {
    return m_thread.get_id() == std::this_thread::get_id();
}

void SerialQueue::assertCurrent() const {
    assert(isCurrent());
}

void SerialQueue::run() {
    pthread_setname_np(pthread_self(), threadName(m_label).c_str());
    lowerPriority(m_quality);
    std::unique_lock lock(m_mutex);
    bool workWasPassedOver = false;
    for (;;) {
        const Moment now = std::chrono::steady_clock::now();
        const bool due = !m_ending && !m_repetitions.empty() && m_repetitions.begin()->first <= now;
        // A repetition whose work takes longer than its interval is always due; other work has its turn in between.
        if (due && (m_work.empty() || !workWasPassedOver)) {
            workWasPassedOver = !m_work.empty();
            const auto repetition = m_repetitions.begin()->second;
            m_repetitions.erase(m_repetitions.begin());
            lock.unlock();
            if (!repetition->isCancelled()) perform(repetition->work);
            lock.lock();
            if (!repetition->isCancelled()) m_repetitions.emplace(now + repetition->interval, repetition);
        } else if (!m_work.empty()) {
            workWasPassedOver = false;
            Work work = std::move(m_work.front());
            m_work.pop_front();
            lock.unlock();
            perform(work);
            work = nullptr; // what the closure held may come back to the queue as it goes
            lock.lock();
        } else if (m_ending) {
            return;
        } else if (m_repetitions.empty()) {
            m_wake.wait(lock);
        } else {
            sleepUntilFirst(lock);
        }
    }
}

// The slack lets the kernel wake several sleepers at once. It is the thread's, and would delay every time-out of the
// work itself, so it holds while the queue sleeps and no longer.
void SerialQueue::sleepUntilFirst(std::unique_lock<std::mutex>& lock) {
    const auto [due, repetition] = *m_repetitions.begin();
    prctl(PR_SET_TIMERSLACK, std::max(repetition->leewayNanoseconds, 1UL), 0, 0, 0);
    m_wake.wait_until(lock, due);
    constexpr unsigned long defaultSlack = 0;
    prctl(PR_SET_TIMERSLACK, defaultSlack, 0, 0, 0);
}

// Whatever goes wrong in one piece of work is that piece's alone; `sync` has put its failures aside for the caller.
void SerialQueue::perform(const Work& work) const {
    try {
        work();
    } catch (const std::exception& error) {
        Log::error(LogCategory::app, "Work on " + m_label + " failed: " + error.what());
    }
}

} // namespace nomara
