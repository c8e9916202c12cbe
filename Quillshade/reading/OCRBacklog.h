#pragma once

#include "Quillshade/reading/OCRService.h"
#include "core/base/Clock.h"
#include "core/base/Executor.h"
#include "core/base/SerialQueue.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace nomara {

class FrameImageLoader;
class StoreHub;

/// Reads, when power allows it, the pictures of frames that were stored without being read: oldest first, one after
/// another, with pauses in which nothing is noticed of it. A pass ends when nothing is left that can be read; what
/// comes later waits for the next one. Callable from any thread; `setOnProgress` belongs to the main thread.
class OCRBacklog {
public:
    /// All of it outlives the backlog.
    struct Services {
        StoreHub& hub;
        const OCRService& ocr;
        FrameImageLoader& images;
        const Clock& clock;
        Executor mainThread;
    };
    /// Tests don't wait as long.
    struct Pauses {
        double betweenFrames = 0.12; ///< reading is the most expensive work there is; so it leaves room for all other
        /// After as many frames as are taken at once of which none could be settled, as with a full disk; doubled each
        /// time up to the other.
        double afterFailures = 1;
        double longest = 60;
    };

    explicit OCRBacklog(Services services) : OCRBacklog(std::move(services), Pauses()) {}
    OCRBacklog(Services services, Pauses pauses);
    /// Cancels, and waits for a pass under way.
    ~OCRBacklog();
    OCRBacklog(const OCRBacklog&) = delete;
    OCRBacklog& operator=(const OCRBacklog&) = delete;

    /// Called on the main thread after every 25 frames and at the end of each pass; before the first `kick`.
    void setOnProgress(std::function<void()> onProgress);
    /// Whether passes may run: not at the start. One under way finishes the frame that it is at.
    void setAllowed(bool allowed);
    /// Starts a pass, unless there is one or none may run; tells whether it did.
    bool kick();
    /// A frame just stored, whose picture is still at hand and couldn't be read in time: it is read before all others,
    /// its segment open or not. Of several that wait the last two count, the others come in their turn. Nothing
    /// happens where passes may not run.
    void readSoon(RowID frameID, Image image);
    /// Ends a pass under way without waiting for it; a picture that is being read stays queued.
    void cancel();
    /// Cancels, waits for a pass under way, and takes nothing more until it is allowed again: what it holds belongs to
    /// a memory that is no more.
    void forget();
    bool isRunning() const;

private:
    class Pass;

    void run();
    bool mayGoOn() const;
    bool isCancelled() const;
    void pause(double seconds);
    std::optional<std::pair<RowID, Image>> takeFresh();
    void tellProgress();

    const Services m_services;
    const Pauses m_pauses;
    // Shared only so that a callback on its way to the main thread can tell that the backlog is gone.
    const std::shared_ptr<std::function<void()>> m_onProgress = std::make_shared<std::function<void()>>();
    mutable std::mutex m_lock; // guards the four fields below it
    bool m_allowed = false;
    bool m_running = false;
    bool m_cancelled = false;
    std::deque<std::pair<RowID, Image>> m_fresh;
    std::condition_variable m_interrupted;
    // Last, so that its work has ended before anything that it uses goes.
    SerialQueue m_queue{"com.brindlewick.nomara.ocr", QueueQuality::background};
};

} // namespace nomara
