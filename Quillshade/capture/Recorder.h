#pragma once

#include "Quillshade/capture/FrontmostTracker.h"
#include "Quillshade/capture/RecorderTypes.h"
#include "Quillshade/capture/StreamReconciler.h"
#include "Quillshade/reading/KnownLines.h"
#include "Quillshade/settings/RecorderConfig.h"
#include "Quillshade/windows/BrowserPrivacy.h"
#include "Quillshade/windows/WindowInspector.h"
#include "core/base/Clock.h"
#include "core/base/Executor.h"
#include "core/base/SerialQueue.h"
#include "core/policy/ContextTitle.h"
#include "core/policy/ImageValidity.h"
#include "core/records/Statistics.h"
#include "core/text/LineDeduper.h"
#include "platform/InputActivity.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <set>

namespace nomara {

class WindowReading;

class OCRService;
class SegmentManager;
class StoreHub;

/// The loop that watches the screen: once a second or two it decides whether anything may be recorded at all, and if
/// so reads what is new and stores it, with an image of each display or, where images aren't wanted, as text alone. A
/// screen that hasn't changed costs a few comparisons and stores nothing.
///
/// All state belongs to the recorder's queue. The public operations may be called from any thread and return at once,
/// unless they say that they wait.
class Recorder {
public:
    /// A reason not to record. The recorder runs exactly while there is none.
    enum class Block {
        stopped,
        paused,
        locked,
        screensaver,
        sessionInactive,
        asleep,
        displayAsleep,
        permission,
        settings, ///< what the user doesn't want recorded can't be read
        storage,  ///< nothing can be stored
    };

    /// Callbacks to the model, each called on the main thread. To be set before the first block is lifted.
    struct Events {
        std::function<void(RecorderStatus)> status = [](RecorderStatus) {};
        std::function<void(SkipReason)> skip = [](const SkipReason&) {};
        std::function<void(FrameSummary, std::optional<std::string>)> saved = [](const FrameSummary&, const auto&) {};
        std::function<void(CapturePolicy)> policy = [](const CapturePolicy&) {};
        std::function<void()> userStopped = [] {};
    };

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
    struct Look;
    struct FrontPage;

    // Recorder.cpp: when it runs.
    void updateRunning();
    void forgetWhatWasSeen();
    void startTimer();
    void stop();
    void publishStatus();
    RecorderStatus status() const;
    void reevaluatePolicy();
    StreamReconciler::Wishes streamWishes() const;
    void permissionChanged(bool permitted);
    CaptureReport report();
    void keepReport(std::optional<CaptureReport> report);
    void interrupt(SerialQueue::Work work);
    bool isInterrupted() const { return m_changesWaiting > 0; }

    // RecorderTick.cpp: what every look begins and ends with.
    static std::string windowKey(const Look& look);
    void followDisplays(const Look& look);
    bool updateHiddenWindows();
    static bool isBrowser(const FrontmostApp& app);
    void recordSkip(const SkipReason& reason, bool dropsImages);
    void dropImages();
    void holdImages(ImageValidity::Hold reason);
    void releaseImages(ImageValidity::Hold reason, double now);
    void publishSkip(const SkipReason& reason);
    void publishPage(const Look& look, SkipReason::Kind stop);
    void noteLook(const Look& look, DisplayID display, LookResult result);
    void flushStats(bool force);
    std::optional<RowID> saveFrame(const NewFrame& frame);
    template <typename... Arguments, typename... Values>
    void post(std::function<void(Arguments...)> Events::*callback, Values... values) {
        m_services.mainThread([weak = std::weak_ptr(m_events), callback, ... held = std::move(values)] {
            if (const auto events = weak.lock()) ((*events).*callback)(held...);
        });
    }

    // RecorderText.cpp: what the front window tells about itself.
    void textOnlyTick(const Look& look);
    bool isStillHeldBack(const DisplayState& state, const Look& look) const;
    static HeldBackPage heldBackPage(const Look& look, SkipReason::Kind reason);
    FrontPage frontPage(const Look& look);
    FrontPage frontBrowserPage(const Look& look);
    bool isStillShown(const Look& look, const FrontPage& page);
    static void describeFrontWindow(NewFrame& frame, const Look& look, const FrontPage& page,
                                    const RecorderConfig& config);

    // RecorderImages.cpp: the images of the displays.
    void imageTick(const Look& look);
    bool isWithoutImages(const Look& look);
    bool isUnreadChangeDue(const DisplayState& state, const Look& look) const;
    void captureFrame(const Look& look, const Display& display, DisplayCapturer& capturer, bool isActive);
    void addProvenLines(std::string& text, const std::vector<UnprovenLine>& lines, const Image& image,
                        const Display& display);
    void readImage(NewFrame& frame, const Image& image, const std::string& key, const WindowReading& window,
                   const Rect& bounds);
    void holdBack(const Look& look, DisplayID display, DisplayCapturer& capturer, SkipReason::Kind reason);
    Image safeImage(const Look& look, const Display& display, const LatestImage& latest);

    struct LastLook {
        LookResult result = LookResult::none;
        std::optional<Date> at;
    };

    Services m_services;
    // Shared with callbacks on their way to the main thread, and with timers.
    const std::shared_ptr<Events> m_events = std::make_shared<Events>();
    WindowInspector m_inspector;
    BrowserPrivacy m_browserPrivacy;
    std::vector<std::uint32_t> m_hiddenWindows; // that the streams leave out, beside excluded applications; sorted
    RecorderConfig m_config;
    PowerSnapshot m_power;
    CapturePolicy m_policy;
    std::set<Block> m_blocks{Block::stopped};
    bool m_running = false;
    int m_holders = 0; ///< those who suspended capture
    std::unique_ptr<SerialQueue::Timer> m_timer;
    std::map<DisplayID, DisplayState> m_states;
    std::map<DisplayID, ImageValidity> m_validity; // of every display that there is, with a stream or without
    std::atomic<int> m_changesWaiting = 0;         // for the look under way to end
    mutable std::mutex m_longLookMutex;            // guards m_longLook
    std::optional<CaptureReport> m_longLook;
    double m_readingSecondsLeft = 0; // of the tick under way
    std::map<DisplayID, LastLook> m_lastLooks;
    std::set<DisplayID> m_knownDisplays;
    DisplayID m_activeDisplay = 0;
    StatsDelta m_pendingStats;
    double m_lastFlush = 0;
    SkipReason m_lastSkip;
    ContextTitle m_contextTitle;
    std::optional<std::string> m_stoppedWindow; // whose page was last found not to be recorded; a tick may not ask
    std::optional<RecorderStatus> m_lastStatus;
    std::optional<CaptureReport::Picture> m_lastPicture;
    std::optional<double> m_imagelessSince; // of the active display
    double m_askedForImageAt = -1;          // of the same, whose stream had fallen silent
    // Its work has ended before anything that it uses goes, but for the streams, which need it to end.
    SerialQueue m_queue{"com.brindlewick.nomara.recorder", QueueQuality::utility};
    StreamReconciler m_streams;
};

} // namespace nomara
