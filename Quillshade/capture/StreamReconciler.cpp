#include "Quillshade/capture/StreamReconciler.h"

#include "core/base/Log.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <utility>

namespace nomara {

namespace {

constexpr double firstRetrySeconds = 3, longestRetrySeconds = 60;
constexpr double permissionSeconds = 3, permissionLeewaySeconds = 1;
// The user may be asked for as long as it takes; this is how often one looks whether all is to end meanwhile.
constexpr std::chrono::milliseconds patience{50};
constexpr double never = 1e9;

bool contains(const std::vector<DisplayID>& displays, DisplayID display) {
    return std::ranges::find(displays, display) != displays.end();
}

} // namespace

StreamReconciler::StreamReconciler(Services services, Events events)
    : m_services(std::move(services)), m_events(std::move(events)), m_retryDelay(firstRetrySeconds),
      m_tasks("com.brindlewick.nomara.streams", QueueQuality::utility) {}

StreamReconciler::~StreamReconciler() {
    m_isEnding = true;
    m_services.queue.sync([this] {
        m_self.reset();
        m_retryTimer.reset();
        m_permissionTimer.reset();
        stopAll();
    });
}

void StreamReconciler::reconcile(bool filterUpdate, bool restart) {
    m_services.queue.assertCurrent();
    const Wishes wishes = m_events.wishes();
    // At once: the operation may have to wait, and what is excluded from now on must not.
    if (filterUpdate) {
        ++m_filterVersion;
        m_events.filterWanted();
    }
    if (wishes.displays.empty()) {
        m_retryTimer.reset();
        for (const auto& [display, capturer] : m_capturers)
            m_events.streamGone(display);
        return stopAll();
    }
    if (m_isBusy) {
        m_pendingReconcile = true;
        m_pendingFilterUpdate = m_pendingFilterUpdate || filterUpdate;
        m_pendingRestart = m_pendingRestart || restart;
        return;
    }
    std::vector<std::shared_ptr<DisplayCapturer>> toStop, staying;
    for (const auto& [display, capturer] : m_capturers)
        (restart || !contains(wishes.displays, display) ? toStop : staying).push_back(capturer);
    std::vector<DisplayID> toStart;
    for (const DisplayID display : wishes.displays)
        if (restart || !m_capturers.contains(display)) toStart.push_back(display);
    if (toStop.empty() && toStart.empty() && !filterUpdate) return;

    m_isBusy = true;
    for (const auto& capturer : toStop) {
        m_capturers.erase(capturer->displayID());
        m_events.streamGone(capturer->displayID());
    }
    runTask(toStop, toStart, staying, wishes, filterUpdate);
}

void StreamReconciler::stopAll() {
    m_trouble.clear();
    if (m_capturers.empty()) return;
    m_tasks.async([capturers = std::exchange(m_capturers, {})] {
        for (const auto& [display, capturer] : capturers)
            capturer->stop();
    });
}

void StreamReconciler::updateInterval(double seconds) {
    m_tasks.async([capturers = m_capturers, seconds] {
        for (const auto& [display, capturer] : capturers)
            capturer->updateInterval(seconds);
    });
}

void StreamReconciler::runTask(const std::vector<std::shared_ptr<DisplayCapturer>>& toStop,
                               const std::vector<DisplayID>& toStart,
                               const std::vector<std::shared_ptr<DisplayCapturer>>& staying, const Wishes& wishes,
                               bool filterUpdate) {
    m_tasks.async([=, this, version = m_filterVersion] {
        for (const auto& capturer : toStop) {
            m_tokens[capturer->displayID()] = capturer->token();
            capturer->stop();
        }
        if (filterUpdate)
            for (const auto& capturer : staying)
                capturer->updateFilter(wishes.filter);
        Outcome outcome{{}, std::nullopt, version, m_services.clock.uptime()};
        for (const DisplayID display : toStart) {
            if (m_isEnding) return;
            auto capturer = std::make_shared<DisplayCapturer>(display, m_services.streams.make(), m_services.clock,
                                                              m_services.visibleWindows);
            auto error = start(*capturer, wishes);
            // One that has gone meanwhile isn't wanted any more, or is soon there again.
            if (error && error->kind == DisplayStreamError::Kind::displayGone) continue;
            outcome.error = std::move(error);
            if (outcome.error) break;
            outcome.started.push_back(std::move(capturer));
        }
        onQueue([outcome = std::move(outcome)](StreamReconciler& self) { self.taskEnded(outcome); });
    });
}

std::optional<DisplayStreamError> StreamReconciler::start(DisplayCapturer& capturer, const Wishes& wishes) {
    // Shared: a stream that is given up may still answer.
    const auto answer = std::make_shared<std::promise<std::optional<DisplayStreamError>>>();
    auto result = answer->get_future();
    capturer.start(wishes.filter, wishes.intervalSeconds, m_tokens[capturer.displayID()],
                   [answer](const std::optional<DisplayStreamError>& error) { answer->set_value(error); });
    while (result.wait_for(patience) != std::future_status::ready) {
        if (!m_isEnding) continue;
        capturer.stop();
        return DisplayStreamError{DisplayStreamError::Kind::displayGone, "Quillshade ends."};
    }
    return result.get();
}

void StreamReconciler::taskEnded(Outcome outcome) {
    m_isBusy = false;
    if (outcome.filterVersion == m_filterVersion) m_events.filterInForce(outcome.filteredSince);
    if (!outcome.error && !outcome.started.empty()) {
        m_retryDelay = firstRetrySeconds;
        m_trouble.clear();
    }
    if (!m_events.wishes().displays.empty()) {
        for (const auto& capturer : outcome.started)
            keep(capturer);
        if (!isAnyMissing()) m_retryTimer.reset();
    } else {
        m_tasks.async([started = std::move(outcome.started)] {
            for (const auto& capturer : started)
                capturer->stop();
        });
    }
    if (outcome.error) {
        // It is tried again and again, and told once for as long as the reason stays the same.
        if (m_trouble != outcome.error->message)
            Log::error(LogCategory::capture, "Stream couldn't start: " + outcome.error->message);
        handle(*outcome.error);
    }
    if (std::exchange(m_pendingReconcile, false))
        reconcile(std::exchange(m_pendingFilterUpdate, false), std::exchange(m_pendingRestart, false));
    retryMissing();
}

void StreamReconciler::keep(const std::shared_ptr<DisplayCapturer>& capturer) {
    m_capturers[capturer->displayID()] = capturer;
    // On the stream's thread, which has ended before this does: all capturers are stopped first.
    capturer->setOnStop([this, stopped = std::weak_ptr(capturer)](DisplayCapturer&, const DisplayStreamError& error) {
        onQueue([stopped, error](StreamReconciler& self) {
            if (const auto ended = stopped.lock()) self.streamStopped(ended, error);
        });
    });
}

void StreamReconciler::streamStopped(const std::shared_ptr<DisplayCapturer>& capturer,
                                     const DisplayStreamError& error) {
    const auto known = m_capturers.find(capturer->displayID());
    // One that was stopped on purpose isn't there any more.
    if (known == m_capturers.end() || known->second != capturer) return;
    m_capturers.erase(known);
    m_tasks.async([capturer] { capturer->stop(); });
    m_events.streamGone(capturer->displayID());
    Log::error(LogCategory::capture, "Stream stopped: " + error.message);
    handle(error);
}

void StreamReconciler::handle(const DisplayStreamError& error) {
    using Kind = DisplayStreamError::Kind;
    m_trouble.clear();
    if (error.kind != Kind::displayGone || isAnyMissing()) m_trouble = error.message;
    if (error.kind == Kind::userEnded) return m_events.userEnded();
    if (error.kind == Kind::notPermitted || !m_services.streams.isPermitted()) {
        m_events.permissionChanged(false);
        return watchPermission();
    }
    retryMissing();
}

bool StreamReconciler::isAnyMissing() const {
    return std::ranges::any_of(m_events.wishes().displays,
                               [this](DisplayID display) { return !m_capturers.contains(display); });
}

// Streams that fail at the same time wait for one try.
void StreamReconciler::retryMissing() {
    if (m_isBusy || m_retryTimer || m_permissionTimer || !isAnyMissing()) return;
    const double delay = m_retryDelay;
    m_retryDelay = std::min(2 * delay, longestRetrySeconds);
    m_retryTimer = m_services.startTimer(m_services.queue, delay, never, 0, [weak = m_weak] {
        const auto self = weak.lock();
        if (!self) return;
        (*self)->m_retryTimer.reset();
        if ((*self)->isAnyMissing()) (*self)->reconcile(false, true);
    });
}

void StreamReconciler::watchPermission() {
    if (m_permissionTimer) return;
    m_permissionTimer = m_services.startTimer(m_services.queue, permissionSeconds, permissionSeconds,
                                              permissionLeewaySeconds, [weak = m_weak] {
                                                  const auto self = weak.lock();
                                                  if (!self || !(*self)->m_services.streams.isPermitted()) return;
                                                  (*self)->m_permissionTimer.reset();
                                                  (*self)->m_events.permissionChanged(true);
                                              });
}

void StreamReconciler::onQueue(std::function<void(StreamReconciler&)> work) {
    m_services.queue.async([weak = m_weak, work = std::move(work)] {
        if (const auto self = weak.lock()) work(**self);
    });
}

} // namespace nomara
