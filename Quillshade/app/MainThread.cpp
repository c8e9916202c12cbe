#include "Quillshade/app/MainThread.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <system_error>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace nomara {

namespace {

/// What waits for the main thread. The event loop is woken through a file, so that nothing of it is touched by other
/// threads.
class Waiting {
public:
    Waiting() : m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (m_wake < 0) throw std::system_error(errno, std::generic_category(), "no more files can be opened");
    }
    ~Waiting() { close(m_wake); }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

    int file() const { return m_wake; }

    void add(std::function<void()> work) {
        {
            const std::lock_guard lock(m_lock);
            m_work.push_back(std::move(work));
        }
        const std::uint64_t one = 1;
        // A counter that is full wakes as well.
        [[maybe_unused]] const auto written = write(m_wake, &one, sizeof one);
    }

    /// Runs what is there now; what that adds comes next time, so that other events have their turn.
    void run() {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto got = read(m_wake, &count, sizeof count);
        std::size_t rest = 0;
        {
            const std::lock_guard lock(m_lock);
            rest = m_work.size();
        }
        for (; rest > 0; --rest) {
            std::function<void()> work;
            {
                const std::lock_guard lock(m_lock);
                if (m_work.empty()) return;
                work = std::move(m_work.front());
                m_work.pop_front();
            }
            work();
        }
    }

private:
    const int m_wake;
    std::mutex m_lock; // guards m_work
    std::deque<std::function<void()>> m_work;
};

} // namespace

Executor mainThreadExecutor(QCoreApplication& application) {
    auto waiting = std::make_shared<Waiting>();
    auto* const notifier = new QSocketNotifier(waiting->file(), QSocketNotifier::Read, &application);
    QObject::connect(notifier, &QSocketNotifier::activated, &application, [waiting] { waiting->run(); });
    return [waiting](std::function<void()> work) { waiting->add(std::move(work)); };
}

} // namespace nomara
