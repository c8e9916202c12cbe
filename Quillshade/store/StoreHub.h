#pragma once

#include "Quillshade/store/DatabaseFile.h"
#include "core/base/Executor.h"
#include "core/base/SerialQueue.h"
#include "core/store/MemoryStore.h"

#include <QFuture>
#include <QPromise>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>

namespace nomara {

class FolderLock;

/// What keeps things from being stored.
struct StoreTrouble {
    enum class Kind {
        none,
        removed,  ///< the database, or its folder, was removed or moved away: `reopen` begins with an empty one
        replaced, ///< another database lies in its place: `reopen` takes it
        away,     ///< its disk has gone, or can't be reached
        refused,  ///< the disk takes no more, or nothing at all
        logGrows, ///< somebody who reads keeps the write-ahead log from being emptied; things are stored all the same
        logFull,  ///< and it has become as large as it may
    };

    Kind kind = Kind::none;
    std::string sentence; ///< for the user; empty for `none`
    bool holdsRecording() const { return kind != Kind::none && kind != Kind::logGrows; }
    friend bool operator==(const StoreTrouble&, const StoreTrouble&) = default;
};

/// Owns the two connections to the memory and the two queues on which they run; everything in the application reaches
/// the database through it. A body is given the store that is current when it runs, and must not call the hub itself:
/// it would wait for its own queue for good. Failures pass through `report` before they go on to the caller. Nothing is
/// written to a database that no longer lies in its place: writing fails then, and tells.
/// Callable from any thread but the two queues; `setOnDamage`, `setOnTrouble` and the destructor belong to the main
/// thread.
class StoreHub {
public:
    /// Makes the folders, the file and its schema where they are missing. Throws filesystem_error or SQLiteError.
    /// `mainThread` hands work to the main thread; `clock` outlives the hub, as does `lock`, which is taken of the data
    /// folder and exchanged where another one takes its place. Throws runtime_error where another program has it.
    StoreHub(Executor mainThread, const Clock& clock, FolderLock* lock = nullptr)
        : StoreHub(std::move(mainThread), clock, lock, LogBounds()) {}
    /// What the write-ahead log takes on disk. SQLite begins it anew by itself at 4 MB, unless somebody reads there.
    struct LogBounds {
        std::int64_t usual = std::int64_t{16} << 20; ///< beyond it is tried to empty the log, now and then
        std::int64_t told = std::int64_t{64} << 20;  ///< from here on it is told when that fails, some hours' worth
        /// From here on nothing is recorded, some days' worth. Only the reader's end makes the log smaller.
        std::int64_t most = std::int64_t{1} << 30;
    };
    StoreHub(Executor mainThread, const Clock& clock, FolderLock* lock, const LogBounds& bounds);
    /// Waits for all work that is already queued.
    ~StoreHub();
    StoreHub(const StoreHub&) = delete;
    StoreHub& operator=(const StoreHub&) = delete;

    /// Runs `body(MemoryStore&)` on the reader's, or the writer's, queue and waits for what it gives or throws.
    template <typename Body>
    auto read(Body&& body) {
        return m_readQueue.sync([&] { return runReading(body); });
    }
    template <typename Body>
    auto write(Body&& body) {
        return m_writeQueue.sync([&] { return runWriting(body); });
    }

    /// The same without waiting: the future carries what the body gives or throws. One that is cancelled before its
    /// turn comes does nothing.
    template <typename Body>
    auto readAsync(Body body) {
        return enqueue<Body>(m_readQueue, &StoreHub::runReading<Body>, std::move(body));
    }
    template <typename Body>
    auto writeAsync(Body body) {
        return enqueue<Body>(m_writeQueue, &StoreHub::runWriting<Body>, std::move(body));
    }

    /// Removes all that the data folder holds and begins with an empty memory. Throws filesystem_error where something
    /// couldn't be removed; the hub goes on, with the old memory if that was it. Where no memory can be opened it
    /// throws as well, and the hub stays closed.
    void eraseAll();
    /// Sets the database's files aside under a name with the local time `now` and begins with an empty one; pictures
    /// stay in place. Throws filesystem_error or SQLiteError; the hub then stays closed.
    void resetDamaged(Date now);

    /// Closes the database that was removed or replaced, and begins with what lies in its place: nothing of the old one
    /// comes back. The future fails like `resetDamaged`, and where another program keeps its memory there.
    QFuture<void> reopen();
    /// Finds out whether the database still lies in its place, after a refusal whether it can be written again, and
    /// whether a log that has grown can be emptied.
    void check();
    /// `onTrouble` is called on the main thread each time that the trouble is another one, or over.
    void setOnTrouble(std::function<void(const StoreTrouble&)> onTrouble);

    /// Tells `onDamage`, once until the next reset, when the error means that the database file is damaged.
    void report(const std::exception& error);
    /// `onDamage` is called on the main thread, and never once the hub is gone.
    void setOnDamage(std::function<void()> onDamage);

private:
    using Connection = std::unique_ptr<MemoryStore>;

    template <typename Body>
    std::invoke_result_t<Body&, MemoryStore&> runReading(Body& body) {
        try {
            return body(*m_reader);
        } catch (const std::exception& error) {
            report(error);
            throw;
        }
    }

    template <typename Body>
    std::invoke_result_t<Body&, MemoryStore&> runWriting(Body& body) {
        checkPlace();
        try {
            return body(*m_writer);
        } catch (const std::exception& error) {
            report(error);
            reportRefusal(error);
            throw;
        }
    }

    template <typename Body>
    auto enqueue(SerialQueue& queue, std::invoke_result_t<Body&, MemoryStore&> (StoreHub::*run)(Body&), Body body) {
        using Result = std::invoke_result_t<Body&, MemoryStore&>;
        struct Job {
            QPromise<Result> promise;
            Body body;
        };
        auto job = std::make_shared<Job>(Job{{}, std::move(body)});
        job->promise.start();
        auto future = job->promise.future();
        queue.async([this, run, job] {
            if (job->promise.isCanceled()) return job->promise.finish();
            try {
                if constexpr (std::is_void_v<Result>)
                    (this->*run)(job->body);
                else
                    job->promise.addResult((this->*run)(job->body));
            } catch (...) {
                job->promise.setException(std::current_exception());
            }
            job->promise.finish();
        });
        return future;
    }

    void checkPlace();
    void watchLog();
    void reportRefusal(const std::exception& error);
    void tell(const StoreTrouble& trouble);
    void takeFolder();
    void exclusively(const std::function<void()>& work);
    void closeStores();
    void openStores();

    const Executor m_mainThread;
    const Clock& m_clock;
    FolderLock* const m_folderLock; // used on m_writeQueue alone
    // Shared only so that a callback on its way to the main thread can tell that the hub is gone.
    const std::shared_ptr<std::function<void()>> m_onDamage = std::make_shared<std::function<void()>>();
    const std::shared_ptr<std::function<void(const StoreTrouble&)>> m_onTrouble =
        std::make_shared<std::function<void(const StoreTrouble&)>>();
    std::mutex m_damageLock; // guards m_damageReported
    bool m_damageReported = false;
    Connection m_writer; // used on m_writeQueue alone
    Connection m_reader; // used on m_readQueue alone
    // Used on m_writeQueue alone.
    DatabaseFile m_file;
    StoreTrouble m_trouble;
    const LogBounds m_logBounds;
    int m_logFailures = 0; ///< tries in a row to empty the log
    double m_nextLogTry = 0;
    // Last, so that they have run all their work before anything that it uses goes.
    SerialQueue m_writeQueue;
    SerialQueue m_readQueue;
};

} // namespace nomara
