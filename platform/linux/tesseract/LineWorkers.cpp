#include "platform/linux/tesseract/LineWorkers.h"

#include <algorithm>
#include <chrono>
#include <exception>

#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace nomara::tesseract {

namespace {

constexpr int mostWorkers = 8; // each holds an engine
constexpr std::chrono::milliseconds stopInterval{10};

void standBack() {
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), 10);
    const sched_param none{};
    pthread_setschedparam(pthread_self(), SCHED_BATCH, &none);
}

// Tesseract may be built to spread each line over four threads of OpenMP, which then wait for one another at full
// speed: half as much time again, and minutes on a busy machine. OMP_THREAD_LIMIT is read before a program's main is
// reached, too late to be set there; this has the same effect for the thread that calls it.
void useThisThreadAlone() {
    using SetLevels = void (*)(int);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): what dlsym gives
    const auto setLevels = reinterpret_cast<SetLevels>(dlsym(RTLD_DEFAULT, "omp_set_max_active_levels"));
    if (setLevels != nullptr) setLevels(0);
}

} // namespace

/// One call of `read`.
struct LineWorkers::Job {
    Work work;
    std::size_t taken = 0;    // lines
    std::size_t underWay = 0; // lines
    bool isStopped = false;
    std::exception_ptr error;
    std::condition_variable finished;
    std::mutex reporting;   // held while the caller's functions run; guards the field below it
    bool isGivenUp = false; // the caller is gone, and its functions with it

    bool isOver() const { return underWay == 0 && (isStopped || taken == work.lines.size()); }
};

LineWorkers::LineWorkers(int count, double idleSeconds) : m_idleSeconds(idleSeconds), m_count(1) {
    setCount(count);
}

LineWorkers::~LineWorkers() {
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_wake.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
}

void LineWorkers::setCount(int count) {
    {
        const std::lock_guard lock(m_mutex);
        m_count = std::clamp(count, 1, mostWorkers);
    }
    m_wake.notify_all();
}

bool LineWorkers::read(Work work) {
    if (work.lines.empty()) return true;
    const auto job = std::make_shared<Job>();
    job->work = std::move(work);
    std::unique_lock lock(m_mutex);
    while (static_cast<int>(m_threads.size()) < m_count)
        m_threads.emplace_back([this, number = static_cast<int>(m_threads.size())] { run(number); });
    m_jobs.push_back(job);
    m_wake.notify_all();
    while (!job->finished.wait_for(lock, stopInterval, [&] { return job->isOver(); })) {
        // A line may take long on a busy machine, as this works at a low priority. Whoever is urgent doesn't wait for
        // it.
        if (!job->work.isUrgent || !job->work.shouldStop) continue;
        lock.unlock();
        const bool stop = job->work.shouldStop();
        if (stop) giveUp(*job);
        lock.lock();
        if (stop) job->isStopped = true;
        if (stop) break;
    }
    std::erase(m_jobs, job);
    if (job->error) std::rethrow_exception(job->error);
    return !job->isStopped;
}

// A line that is just being handed over is waited for.
void LineWorkers::giveUp(Job& job) {
    const std::lock_guard reporting(job.reporting);
    job.isGivenUp = true;
}

std::size_t LineWorkers::callers() const {
    const std::lock_guard lock(m_mutex);
    return m_jobs.size();
}

std::shared_ptr<LineWorkers::Job> LineWorkers::nextJob() const {
    std::shared_ptr<Job> next;
    for (const std::shared_ptr<Job>& job : m_jobs) {
        if (job->isStopped || job->taken == job->work.lines.size()) continue;
        if (job->work.isUrgent) return job;
        if (!next) next = job;
    }
    return next;
}

void LineWorkers::run(int number) {
    pthread_setname_np(pthread_self(), "reading");
    standBack();
    useThisThreadAlone();
    std::unique_ptr<Engine> engine;
    std::filesystem::path folder;
    std::string languages;
    const auto close = [&] {
        if (!engine) return;
        engine.reset();
        --m_openEngines;
        malloc_trim(0); // what was freed would stay with the process
    };

    std::unique_lock lock(m_mutex);
    while (!m_ending) {
        const std::shared_ptr<Job> job = number < m_count ? nextJob() : nullptr;
        if (!job) {
            bool isIdle = number >= m_count;
            if (!engine)
                m_wake.wait(lock);
            else if (!isIdle)
                isIdle = m_wake.wait_for(lock, std::chrono::duration<double>(m_idleSeconds)) == std::cv_status::timeout;
            if (!isIdle || !engine) continue;
            lock.unlock();
            close();
            lock.lock();
            continue;
        }
        const std::size_t line = job->taken++;
        ++job->underWay;
        lock.unlock();
        bool stop = false;
        std::exception_ptr error;
        try {
            {
                const std::lock_guard reporting(job->reporting);
                stop = job->isGivenUp || (job->work.shouldStop && job->work.shouldStop());
            }
            if (!stop) {
                if (engine && (folder != job->work.folder || languages != job->work.languages)) close();
                if (!engine) {
                    folder = job->work.folder;
                    languages = job->work.languages;
                    engine = std::make_unique<Engine>(folder, languages);
                    ++m_openEngines;
                }
                ReadLine read = engine->read(job->work.lines[line]);
                const std::lock_guard reporting(job->reporting);
                if (!job->isGivenUp) job->work.done(line, std::move(read));
            }
        } catch (...) {
            error = std::current_exception();
        }
        lock.lock();
        --job->underWay;
        if (stop || error) job->isStopped = true;
        if (error && !job->error) job->error = error;
        if (job->isOver()) job->finished.notify_all();
    }
    lock.unlock();
    close();
}

} // namespace nomara::tesseract
