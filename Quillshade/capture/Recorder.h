#pragma once

#include "Quillshade/capture/FrontmostTracker.h"
#include "Quillshade/capture/RecorderTypes.h"
#include "Quillshade/settings/RecorderConfig.h"
#include "Quillshade/windows/BrowserPrivacy.h"
#include "Quillshade/windows/WindowInspector.h"
#include "core/base/Clock.h"
#include "core/base/Executor.h"
#include "core/base/SerialQueue.h"
#include "core/records/Statistics.h"
#include "core/text/LineDeduper.h"
#include "platform/InputActivity.h"

#include <map>
#include <memory>
#include <set>

namespace nomara {

class StoreHub;

/// The loop that watches the screen: once a second or two it decides whether anything may be recorded at all, and if
/// so reads what is new and stores it. A screen that hasn't changed costs a few comparisons and stores nothing.
///
/// All state belongs to the recorder's queue. The public operations may be called from any thread and return at once,
/// unless they say that they wait.
class Recorder {
public:
    /// A reason not to record. The recorder runs exactly while there is none.
    enum class Block { stopped, paused, locked, screensaver, sessionInactive, asleep, displayAsleep, permission };

    /// Callbacks to the model, each called on the main thread. To be set before the first block is lifted.
    struct Events {
        std::function<void(RecorderStatus)> status = [](RecorderStatus) {};
        std::function<void(SkipReason)> skip = [](const SkipReason&) {};
        std::function<void(FrameSummary, std::optional<std::string>)> saved = [](const FrameSummary&, const auto&) {};
        std::function<void(CapturePolicy)> policy = [](const CapturePolicy&) {};
        std::function<void()> userStopped = [] {};
    };

    using StartTimer = std::function<std::unique_ptr<SerialQueue::Timer>(
        SerialQueue& queue, double firstSeconds, double intervalSeconds, double leewaySeconds, SerialQueue::Work work)>;

    /// What the recorder works with; all of it outlives the recorder.
    struct Services {
        StoreHub& hub;
        Accessibility& accessibility;
        WindowServer& windowServer;
        InputActivity& input;
        const FrontmostTracker& frontmost;
        const Clock& clock;
        Executor mainThread;
        IdentityResolver identify;              ///< which application a window belongs to
        std::optional<std::string> ownBundleID; ///< this application's own identifier: it never records itself
        StartTimer startTimer = [](SerialQueue& queue, double first, double interval, double leeway,
                                   SerialQueue::Work work) {
            return queue.repeat(first, interval, leeway, std::move(work));
        };
    };

    /// Holds the block `stopped` from the start.
    explicit Recorder(Services services);
    /// Waits for a tick under way; open work is lost unless `shutdown` was called.
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Main thread, before the first block is lifted.
    void setEvents(Events events);

    void setBlock(Block block, bool on);
    void setConfig(RecorderConfig config);
    void setPower(PowerSnapshot power);
    /// Holds capture around a deletion: `held` is called on the main thread once nothing is being written.
    void suspendCapture(std::function<void()> held);
    void resumeCapture();
    /// Waits. Ends the loop and writes the counters that aren't stored yet.
    void shutdown();

    /// Waits. The policy in force.
    CapturePolicy policy();
    /// Asks whether other programs' windows can be read, and answers on the main thread; `reason` is empty if so.
    void askAccessibility(std::function<void(bool trusted, std::string reason)> answer);

    /// One look at the screen; the timer calls it. On the recorder's queue, which `queue` gives to tests.
    void tick();
    SerialQueue& queue() { return m_queue; }

private:
    struct Look;
    struct FrontPage;

    void updateRunning();
    void startTimer();
    void stop();
    void publishStatus();
    RecorderStatus status() const;
    void reevaluatePolicy();

    void textOnlyTick(const Look& look);
    FrontPage frontPage(const Look& look);
    FrontPage frontBrowserPage(const Look& look);
    bool isStillShown(const Look& look, const FrontPage& page);
    void publishSkip(const SkipReason& reason);
    void flushStats(bool force);
    void saveFrame(const NewFrame& frame);
    template <typename... Arguments, typename... Values>
    void post(std::function<void(Arguments...)> Events::*callback, Values... values);

    Services m_services;
    // Shared with callbacks on their way to the main thread, and with timers.
    const std::shared_ptr<Events> m_events = std::make_shared<Events>();
    WindowInspector m_inspector;
    BrowserPrivacy m_browserPrivacy;
    LineDeduper m_deduper{24, 6'000, 1'800};
    RecorderConfig m_config;
    PowerSnapshot m_power;
    CapturePolicy m_policy;
    std::set<Block> m_blocks{Block::stopped};
    bool m_running = false;
    bool m_holding = false;
    std::unique_ptr<SerialQueue::Timer> m_timer;
    std::map<DisplayID, DisplayState> m_states;
    DisplayID m_activeDisplay = 0;
    StatsDelta m_pendingStats;
    double m_lastFlush = 0;
    SkipReason m_lastSkip;
    std::optional<RecorderStatus> m_lastStatus;
    // Last, so that its work has ended before anything that it uses goes.
    SerialQueue m_queue{"com.brindlewick.nomara.recorder", QueueQuality::utility};
};

} // namespace nomara
