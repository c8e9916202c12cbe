#pragma once

#include "Quillshade/reading/KnownLines.h"
#include "Quillshade/reading/OCRService.h"
#include "core/base/Clock.h"
#include "core/base/Executor.h"
#include "core/base/SerialQueue.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace nomara {

class FrameImageLoader;
class LineDeduper;
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
        /// Which lines the recorder has seen lately: what it saw isn't stored again, nor does it store what was read.
        std::shared_ptr<LineDeduper> lines;
    };
    /// Tests don't wait as long.
    struct Pauses {
        double betweenFrames = 0.12; ///< reading is the most expensive work there is; so it leaves room for all other
        /// After as many frames as are taken at once of which none could be settled, as with a full disk; doubled each
        /// time up to the other.
        double afterFailures = 1;
        double longest = 60;
        /// A frame that could not be settled lets others go first for `afterFailures`, doubled each time up to this.
        double longestOfFrame = 3'600;
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
    void readSoon(RowID frameID, Date timestamp, Image image, KnownLines lines);
    /// Ends a pass under way without waiting for it; a picture that is being read stays queued.
    void cancel();
    /// Holds reading around a deletion: cancels, forgets the pictures at hand, and takes nothing more. `held` is called
    /// on the main thread once nothing is read or written. It goes on when each who suspended it has resumed it.
    void suspend(std::function<void()> held);
    void resume();
    bool isRunning() const;

private:
    class Pass;
    struct Fresh {
        RowID frameID = 0;
        Date timestamp; ///< as numbers are given again
        Image image;
        KnownLines lines;
    };
    struct Failure {
        Date timestamp;
        int tries = 0;
        double notBefore = 0; ///< uptime
    };

    void run();
    bool mayGoOn() const;
    bool isCancelled() const;
    void pause(double seconds);
    std::optional<Fresh> takeFresh();
    bool isDeferred(const FrameRecord& frame) const;
    void noteFailure(const FrameRecord& frame);
    void tellProgress();

    const Services m_services;
    const Pauses m_pauses;
    // Shared only so that a callback on its way to the main thread can tell that the backlog is gone.
    const std::shared_ptr<std::function<void()>> m_onProgress = std::make_shared<std::function<void()>>();
    std::map<RowID, Failure> m_failures; // used on m_queue alone
    mutable std::mutex m_lock;           // guards the five fields below it
    bool m_allowed = false;
    bool m_running = false;
    bool m_cancelled = false;
    int m_holders = 0; ///< those who suspended it
    std::deque<Fresh> m_fresh;
    std::condition_variable m_interrupted;
    // Last, so that its work has ended before anything that it uses goes.
    SerialQueue m_queue{"com.brindlewick.nomara.ocr", QueueQuality::background};
};

} // namespace nomara
