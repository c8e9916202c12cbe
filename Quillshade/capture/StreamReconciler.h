#pragma once

#include "Quillshade/capture/DisplayCapturer.h"
#include "core/base/SerialQueue.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// Keeps the running display streams in step with the displays that are wanted, one operation at a time. As long as one
/// that is wanted has no stream, another try is pending, later each time. Belongs to the recorder's queue, on which all
/// callbacks run; starting and stopping, which may take long, is done on a queue of its own.
class StreamReconciler {
public:
    /// What is wanted at the moment of asking. No displays: no streams at all.
    struct Wishes {
        std::vector<DisplayID> displays;
        DisplayStreamFilter filter;
        double intervalSeconds = 1;
    };
    struct Events {
        std::function<Wishes()> wishes;
        std::function<void(DisplayID)> streamGone;   ///< its segment is to be closed
        std::function<void()> userEnded;             ///< in the system's own control: the user wants a pause
        std::function<void(bool)> permissionChanged; ///< false: images may not be taken; true: they may again
        /// Something else is to be left out of the images from now on: no stream does that yet.
        std::function<void()> filterWanted = [] {};
        /// All streams leave it out of what they take after that moment, in monotonic seconds.
        std::function<void(double)> filterInForce = [](double) {};
    };
    using StartTimer = std::function<std::unique_ptr<SerialQueue::Timer>(
        SerialQueue& queue, double firstSeconds, double intervalSeconds, double leewaySeconds, SerialQueue::Work work)>;
    /// All of it outlives the reconciler.
    struct Services {
        SerialQueue& queue;
        DisplayStreams& streams;
        const Clock& clock;
        DisplayCapturer::VisibleWindows visibleWindows;
        StartTimer startTimer = [](SerialQueue& on, double first, double interval, double leeway,
                                   SerialQueue::Work work) {
            return on.repeat(first, interval, leeway, std::move(work));
        };
    };
    using Capturers = std::map<DisplayID, std::shared_ptr<DisplayCapturer>>;

    StreamReconciler(Services services, Events events);
    /// Stops all streams and waits for that. Not on the recorder's queue, which must have no more work for this.
    ~StreamReconciler();
    StreamReconciler(const StreamReconciler&) = delete;
    StreamReconciler& operator=(const StreamReconciler&) = delete;

    /// Starts and stops what the wishes ask for. `filterUpdate`: the filter may have changed. `restart`: all streams
    /// anew. While an operation is under way this is done once after it.
    void reconcile(bool filterUpdate, bool restart);
    void stopAll();
    /// Streams go on, slower or faster.
    void updateInterval(double seconds);

    const Capturers& capturers() const { return m_capturers; }
    /// Why the last stream could not start, or ended, as a sentence; empty once one works.
    const std::string& trouble() const { return m_trouble; }

private:
    struct Outcome {
        std::vector<std::shared_ptr<DisplayCapturer>> started;
        std::optional<DisplayStreamError> error;
        int filterVersion = 0;
        double filteredSince = 0; ///< when the last stream that goes on had the filter of that version
    };

    void runTask(const std::vector<std::shared_ptr<DisplayCapturer>>& toStop, const std::vector<DisplayID>& toStart,
                 const std::vector<std::shared_ptr<DisplayCapturer>>& staying, const Wishes& wishes, bool filterUpdate);
    std::optional<DisplayStreamError> start(DisplayCapturer& capturer, const Wishes& wishes);
    void taskEnded(Outcome outcome);
    void keep(const std::shared_ptr<DisplayCapturer>& capturer);
    void streamStopped(const std::shared_ptr<DisplayCapturer>& capturer, const DisplayStreamError& error);
    void handle(const DisplayStreamError& error);
    bool isAnyMissing() const;
    void retryMissing();
    void watchPermission();
    void onQueue(std::function<void(StreamReconciler&)> work);

    Services m_services;
    Events m_events;
    // Lets work that is still on its way to the recorder's queue tell that this is gone.
    std::shared_ptr<StreamReconciler*> m_self = std::make_shared<StreamReconciler*>(this);
    const std::weak_ptr<StreamReconciler*> m_weak = m_self;
    Capturers m_capturers;
    std::map<DisplayID, std::string> m_tokens; // used by tasks alone
    bool m_isBusy = false;
    bool m_pendingReconcile = false, m_pendingFilterUpdate = false, m_pendingRestart = false;
    int m_filterVersion = 0; // of the filter that is wanted
    double m_retryDelay = 0;
    std::string m_trouble;
    std::unique_ptr<SerialQueue::Timer> m_retryTimer;
    std::unique_ptr<SerialQueue::Timer> m_permissionTimer;
    std::atomic<bool> m_isEnding = false;
    SerialQueue m_tasks; // last, so that its work has ended before anything that it uses goes
};

} // namespace nomara
