#pragma once

#include "core/base/Executor.h"
#include "core/base/SerialQueue.h"
#include "core/store/MemoryStore.h"

#include <QFuture>
#include <QPromise>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

namespace nomara {

/// Owns the two connections to the memory and the two queues on which they run; everything in the application reaches
/// the database through it. A body is given the store that is current when it runs, and must not call the hub itself:
/// it would wait for its own queue for good. Failures pass through `report` before they go on to the caller.
/// Callable from any thread but the two queues; `setOnDamage` and the destructor belong to the main thread.
class StoreHub {
public:
    /// Makes the folders, the file and its schema where they are missing. Throws filesystem_error or SQLiteError.
    /// `mainThread` hands work to the main thread; `clock` outlives the hub.
    StoreHub(Executor mainThread, const Clock& clock);
    /// Waits for all work that is already queued.
    ~StoreHub();
    StoreHub(const StoreHub&) = delete;
    StoreHub& operator=(const StoreHub&) = delete;

    /// Runs `body(MemoryStore&)` on the reader's, or the writer's, queue and waits for what it gives or throws.
    template <typename Body>
    auto read(Body&& body) {
        return perform(m_readQueue, m_reader, std::forward<Body>(body));
    }
    template <typename Body>
    auto write(Body&& body) {
        return perform(m_writeQueue, m_writer, std::forward<Body>(body));
    }

    /// The same without waiting: the future carries what the body gives or throws.
    template <typename Body>
    auto readAsync(Body body) {
        return enqueue(m_readQueue, m_reader, std::move(body));
    }
    template <typename Body>
    auto writeAsync(Body body) {
        return enqueue(m_writeQueue, m_writer, std::move(body));
    }

    /// Removes the whole data folder and begins with an empty memory. Throws filesystem_error or SQLiteError; the hub
    /// then stays closed.
    void eraseAll();
    /// Sets the database's files aside under a name with the local time `now` and begins with an empty one; pictures
    /// stay in place. Throws like `eraseAll`.
    void resetDamaged(Date now);

    /// Tells `onDamage`, once until the next reset, when the error means that the database file is damaged.
    void report(const std::exception& error);
    /// `onDamage` is called on the main thread, and never once the hub is gone.
    void setOnDamage(std::function<void()> onDamage);

private:
    using Connection = std::unique_ptr<MemoryStore>;

    template <typename Body>
    auto runReporting(const Connection& store, Body& body) -> std::invoke_result_t<Body&, MemoryStore&> {
        try {
            return body(*store);
        } catch (const std::exception& error) {
            report(error);
            throw;
        }
    }

    template <typename Body>
    auto perform(SerialQueue& queue, const Connection& store, Body&& body) {
        return queue.sync([&] { return runReporting(store, body); });
    }

    template <typename Body>
    auto enqueue(SerialQueue& queue, const Connection& store, Body body) {
        using Result = std::invoke_result_t<Body&, MemoryStore&>;
        struct Job {
            QPromise<Result> promise;
            Body body;
        };
        auto job = std::make_shared<Job>(Job{{}, std::move(body)});
        job->promise.start();
        auto future = job->promise.future();
        queue.async([this, &store, job] {
            try {
                if constexpr (std::is_void_v<Result>)
                    runReporting(store, job->body);
                else
                    job->promise.addResult(runReporting(store, job->body));
            } catch (...) {
                job->promise.setException(std::current_exception());
            }
            job->promise.finish();
        });
        return future;
    }

    void exclusively(const std::function<void()>& work);
    void closeStores();
    void openStores();

    const Executor m_mainThread;
    const Clock& m_clock;
    // Shared only so that a callback on its way to the main thread can tell that the hub is gone.
    const std::shared_ptr<std::function<void()>> m_onDamage = std::make_shared<std::function<void()>>();
    std::mutex m_damageLock; // guards m_damageReported
    bool m_damageReported = false;
    Connection m_writer; // used on m_writeQueue alone
    Connection m_reader; // used on m_readQueue alone
    // Last, so that they have run all their work before anything that it uses goes.
    SerialQueue m_writeQueue;
    SerialQueue m_readQueue;
};

} // namespace nomara
