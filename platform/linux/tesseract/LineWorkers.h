#pragma once

#include "core/reading/LineCrop.h"
#include "platform/linux/tesseract/TesseractEngine.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace nomara::tesseract {

/// Threads that read lines, each with an engine of its own, at a lower priority than everything that the user does. An
/// engine opens with the first line and closes after a while without any; its memory then goes back to the system.
/// Callable from any thread.
class LineWorkers {
public:
    struct Work {
        std::filesystem::path folder;
        std::string languages; ///< as Engine takes them
        std::vector<LineCrop> lines;
        bool isUrgent = true; ///< goes before work that isn't, at the end of each line
        std::function<bool()> shouldStop;
        /// Called with the number of each line that was read, one call at a time.
        std::function<void(std::size_t, ReadLine)> done;
    };

    LineWorkers(int count, double idleSeconds);
    /// No `read` may be under way.
    ~LineWorkers();
    LineWorkers(const LineWorkers&) = delete;
    LineWorkers& operator=(const LineWorkers&) = delete;

    void setCount(int count);
    /// Waits. Whether all lines were read; false where `shouldStop` ended it, of urgent work some hundredths of a
    /// second after it said so, else at the end of the lines under way. Throws PlatformError.
    bool read(Work work);
    /// How many engines hold memory now.
    int openEngines() const { return m_openEngines; }
    /// How many calls of `read` are under way.
    std::size_t callers() const;

private:
    struct Job;

    void run(int number);
    static void giveUp(Job& job);
    std::shared_ptr<Job> nextJob() const;

    const double m_idleSeconds;
    std::atomic<int> m_openEngines = 0;
    mutable std::mutex m_mutex; // guards the fields below it, and what changes in a job
    std::condition_variable m_wake;
    std::deque<std::shared_ptr<Job>> m_jobs; // those with lines that nobody has taken yet
    int m_count;
    bool m_ending = false;
    std::vector<std::thread> m_threads;
};

} // namespace nomara::tesseract
