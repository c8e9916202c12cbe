#pragma once

#include "Quillshade/capture/FrontmostTracker.h"
#include "Quillshade/capture/HiddenWindows.h"
#include "Quillshade/capture/ImagePass.h"
#include "Quillshade/capture/LookUnderWay.h"
#include "Quillshade/capture/RecordingState.h"
#include "core/base/SerialQueue.h"
#include "platform/InputActivity.h"

#include <memory>
#include <set>

namespace nomara {

class StoreHub;

/// The loop that watches the screen: once a second or two it decides whether anything may be recorded at all, and if
/// so reads what is new and stores it, with an image of each display or, where images aren't wanted, as text alone. A
/// screen that hasn't changed costs a few comparisons and stores nothing.
///
/// All state belongs to the recorder's queue. The public operations may be called from any thread and return at once,
/// unless they say that they wait.
class Recorder {
public:
    using Block = RecordingState::Block;
    using Events = CaptureEvents;
    using StartTimer = StreamReconciler::StartTimer;

    /// What the recorder works with; all of it outlives the recorder.
    struct Services {
        StoreHub& hub;
        Accessibility& accessibility;
        WindowServer& windowServer;
        InputActivity& input;
        DisplayStreams& streams;
        SegmentManager& segments; ///< used on the recorder's queue alone from now on
        const OCRService& ocr;
        /// Takes a stored frame's image that could not be read in the tick's time; on the recorder's queue.
        std::function<void(RowID, Date, Image, KnownLines)> readSoon;
        const FrontmostTracker& frontmost;
        const Clock& clock;
        Executor mainThread;
        IdentityResolver identify;              ///< which application a window belongs to
        std::optional<std::string> ownBundleID; ///< this application's own identifier: it never records itself
        StartTimer startTimer = [](SerialQueue& queue, double first, double interval, double leeway,
                                   SerialQueue::Work work) {
            return queue.repeat(first, interval, leeway, std::move(work));
        };
        /// Which lines were seen lately; shared with whoever reads images later.
        std::shared_ptr<LineDeduper> lines = makeLineMemory();
        /// What the process has cost since it was last asked; on the recorder's queue.
        std::function<StatsDelta()> takeUsage = [] { return StatsDelta(); };
    };

    static std::shared_ptr<LineDeduper> makeLineMemory() { return std::make_shared<LineDeduper>(24, 6'000, 1'800); }

    /// Holds the block `stopped` from the start.
    explicit Recorder(Services services);
    /// Waits for a tick under way and ends the streams; open work is lost unless `shutdown` was called.
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Main thread, before the first block is lifted.
    void setEvents(Events events);

    void setBlock(Block block, bool on);
    void setConfig(RecorderConfig config);
    void setPower(PowerSnapshot power);
    /// The set of displays may have changed.
    void reconcileDisplays();
    /// Holds capture around a deletion: `held` is called on the main thread once nothing is being written. It goes on
    /// when each who suspended it has resumed it.
    void suspendCapture(std::function<void()> held);
    void resumeCapture();
    /// Waits. Ends the loop, completes the open segments and writes the counters that aren't stored yet.
    void shutdown();

    /// Waits. The policy in force.
    CapturePolicy policy();
    /// Waits. The segments that are being written, relative to the frames folder.
    std::set<std::string> openSegmentPaths();
    /// Answers on the main thread; whether other programs' windows can be read is found out anew.
    void askReport(std::function<void(CaptureReport)> answer);
    /// While a look takes long: the report as of its middle, for whoever can't wait for its end. Callable from any
    /// thread.
    std::optional<CaptureReport> reportOfLongLook() const;

    /// One look at the screen; the timer calls it. On the recorder's queue, which `queue` gives to tests.
    void tick();
    SerialQueue& queue() { return m_queue; }

private:
    void skip(const FrontWindowGuard::Stop& stop);
    void followDisplays(const TickContext& tick);
    void dropImages();
    bool updateHiddenWindows();

    void updateRunning();
    void forgetWhatWasSeen();
    void startTimer();
    void stop();
    void publishStatus();
    void reevaluatePolicy();
    StreamReconciler::Wishes streamWishes() const;
    void permissionChanged(bool permitted);
    CaptureReport report();
    void interrupt(SerialQueue::Work work);

    Services m_services;
    CaptureEventPoster m_events;
    RecorderConfig m_config;
    PowerSnapshot m_power;
    CapturePolicy m_policy;
    RecordingState m_state;
    LookUnderWay m_underWay;
    std::unique_ptr<SerialQueue::Timer> m_timer;
    // What a look goes through.
    WindowInspector m_inspector;
    BrowserPrivacy m_browserPrivacy;
    HiddenWindows m_hiddenWindows;
    DisplayStates m_displays;
    LookLog m_log;
    FrameIngest m_ingest;
    FrontWindowGuard m_guard;
    TextPass m_text;
    ImagePass m_images;
    // Its work has ended before anything that it uses goes, but for the streams, which need it to end.
    SerialQueue m_queue{"com.brindlewick.nomara.recorder", QueueQuality::utility};
    StreamReconciler m_streams;
};

} // namespace nomara
