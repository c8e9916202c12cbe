#include "Quillshade/capture/Recorder.h"

#include "Quillshade/segments/SegmentManager.h"
#include "Quillshade/store/StoreHub.h"
#include "core/applications/AppCatalog.h"

#include <algorithm>

namespace nomara {

namespace {

constexpr double idleSegmentSeconds = 120;
constexpr double imageTickSeconds = 1, textTickSeconds = 2, firstTickSeconds = 0.5, tickLeewaySeconds = 0.3;

} // namespace

Recorder::Recorder(Services services)
    : m_services(std::move(services)), m_events(m_services.mainThread),
      m_policy(PolicyEngine::evaluate(CaptureMode::balanced, {}, false, false)),
      m_inspector(m_services.accessibility, m_services.windowServer),
      m_browserPrivacy(m_inspector, m_services.windowServer, m_services.identify, m_services.clock),
      m_hiddenWindows(m_browserPrivacy), m_displays(mainDisplay(m_services.windowServer.displays()).id),
      m_log(m_events), m_ingest(m_services.hub, m_services.clock, m_events, m_services.takeUsage),
      m_guard({m_inspector, m_browserPrivacy, m_services.windowServer, m_services.input, m_services.frontmost,
               m_services.ownBundleID}),
      m_text({m_inspector, m_guard, m_displays, m_log, m_ingest, *m_services.lines}),
      m_images({m_inspector, m_browserPrivacy, m_guard, m_text, m_displays, m_log, m_ingest, m_streams,
                m_services.segments, m_services.ocr, *m_services.lines, m_services.clock, m_services.readSoon,
                [this] { return m_underWay.isInterrupted(); }, [this] { m_underWay.setReport(report()); },
                [this] { return updateHiddenWindows(); }}),
      m_streams({m_queue, m_services.streams, m_services.clock, [this] { return m_browserPrivacy.visibleWindows(); },
                 m_services.startTimer},
                {[this] { return streamWishes(); }, [this](DisplayID display) { m_services.segments.close(display); },
                 [this] {
                     m_state.set(Block::paused, true);
                     updateRunning();
                     m_events.post(&CaptureEvents::userStopped);
                 },
                 [this](bool permitted) { permissionChanged(permitted); },
                 [this] { m_displays.hold(ImageValidity::Hold::filter); },
                 [this](double since) { m_displays.release(ImageValidity::Hold::filter, since); }}) {
    // Also while nothing is looked at: a display may go and come back behind a screen locker.
    m_services.windowServer.observeDisplays([this] { reconcileDisplays(); });
}

Recorder::~Recorder() {
    m_services.windowServer.observeDisplays({});
    m_queue.sync([this] {
        m_timer.reset();
        m_state.isRunning = false;
    });
}

void Recorder::setEvents(Events events) {
    m_events.set(std::move(events));
}

// What the user wants now doesn't wait for a picture to be read or an encoder to be ready.
void Recorder::interrupt(SerialQueue::Work work) {
    m_underWay.interrupt();
    m_queue.async([this, work = std::move(work)] {
        m_underWay.served();
        work();
    });
}

void Recorder::setBlock(Block block, bool on) {
    interrupt([this, block, on] {
        m_state.set(block, on);
        updateRunning();
    });
}

void Recorder::setConfig(RecorderConfig config) {
    interrupt([this, config = std::move(config)] {
        const RecorderConfig before = std::exchange(m_config, config);
        m_displays.forgetStops();
        reevaluatePolicy();
        if (config.excludedApps != before.excludedApps) m_streams.reconcile(true, false);
        if (config.allDisplays != before.allDisplays) m_streams.reconcile(false, false);
        if (config.imageQuality != before.imageQuality) m_services.segments.closeAll();
    });
}

void Recorder::setPower(PowerSnapshot power) {
    m_queue.async([this, power] {
        m_power = power;
        reevaluatePolicy();
    });
}

void Recorder::reconcileDisplays() {
    m_queue.async([this] { m_streams.reconcile(false, false); });
}

void Recorder::suspendCapture(std::function<void()> held) {
    interrupt([this, held = std::move(held)] {
        ++m_state.holders;
        m_services.segments.closeAllAndWait();
        m_services.mainThread(held);
    });
}

void Recorder::resumeCapture() {
    m_queue.async([this] {
        if (m_state.holders > 0 && --m_state.holders == 0) forgetWhatWasSeen();
    });
}

void Recorder::shutdown() {
    m_underWay.interrupt();
    m_queue.sync([this] {
        m_underWay.served();
        m_timer.reset();
        m_state.isRunning = false;
        m_streams.stopAll();
        m_ingest.flush(true); // first, as a process that takes too long to end is ended
        m_services.segments.closeAllAndWait();
    });
}

CapturePolicy Recorder::policy() {
    return m_queue.sync([this] { return m_policy; });
}

std::set<std::string> Recorder::openSegmentPaths() {
    return m_queue.sync([this] { return m_services.segments.openPaths(); });
}

void Recorder::askReport(std::function<void(CaptureReport)> answer) {
    m_queue.async(
        [this, answer = std::move(answer)] { m_services.mainThread([answer, report = report()] { answer(report); }); });
}

std::optional<CaptureReport> Recorder::reportOfLongLook() const {
    return m_underWay.report();
}

CaptureReport Recorder::report() {
    CaptureReport report;
    report.accessibilityTrusted = m_services.accessibility.isTrusted();
    report.accessibilityReason = m_services.accessibility.unavailableReason();
    report.streamTrouble = m_streams.trouble();
    report.openSegments = m_services.segments.openPaths();
    report.lastPicture = m_ingest.lastPicture();
    for (const Display& display : m_services.windowServer.displays()) {
        const LookLog::Entry last = m_log.last(display.id);
        report.displays.push_back({display.id, display.name, display.bounds, display.id == m_displays.active(),
                                   m_streams.capturers().contains(display.id), last.result, last.at});
    }
    return report;
}

void Recorder::tick() {
    m_queue.assertCurrent();
    if (!m_state.isRunning || m_state.holders > 0) return;
    m_ingest.flush(false);
    m_services.segments.closeIdle(idleSegmentSeconds);
    const auto app = m_services.frontmost.current();
    // Whatever has the keyboard then, nobody asks about it.
    if (!app) return m_displays.hold(ImageValidity::Hold::notClear);
    updateHiddenWindows();
    TickContext tick{m_services.clock.uptime(), m_services.clock.now(), m_config, m_policy, *app};
    if (const auto stop = m_guard.examine(tick)) return skip(*stop);
    if (tick.titlesOnly) dropImages();
    followDisplays(tick);
    if (!m_log.isStopped(tick.windowKey)) m_log.page(tick, SkipReason::Kind::none);
    if (m_policy.captureImages && !tick.titlesOnly)
        m_images.run(tick);
    else
        m_text.run(tick);
}

void Recorder::skip(const FrontWindowGuard::Stop& stop) {
    m_log.skip(stop.reason);
    if (stop.dropsImages) return dropImages();
    for (const auto& [display, capturer] : m_streams.capturers())
        capturer->clearMarks();
}

// Streams are reconciled only when the displays that are wanted may have changed: after a failure they wait for their
// time.
void Recorder::followDisplays(const TickContext& tick) {
    const DisplayStates::Changes changes = m_displays.follow(tick);
    if (changes.active) m_images.forgetSilence();
    if (m_config.allDisplays ? changes.displays : changes.active) m_streams.reconcile(false, false);
}

void Recorder::dropImages() {
    m_displays.hold(ImageValidity::Hold::notClear);
    for (const auto& [display, capturer] : m_streams.capturers())
        capturer->dropLatest();
}

// An image that was taken before the streams knew is dropped. Returns whether a window is hidden that wasn't.
bool Recorder::updateHiddenWindows() {
    const HiddenWindows::Change change = m_hiddenWindows.update(m_config);
    if (change.isAny && m_policy.captureImages) m_streams.reconcile(true, false);
    return change.hasNew;
}

void Recorder::updateRunning() {
    if (!m_state.isBlocked() && !m_state.isRunning) {
        m_state.isRunning = true;
        forgetWhatWasSeen();
        startTimer();
        m_streams.reconcile(false, false);
    } else if (m_state.isBlocked() && m_state.isRunning) {
        stop();
    }
    publishStatus();
}

// Nobody asked what may be kept meanwhile, so no image of that time is; a stream may have gone on, or been starting.
void Recorder::forgetWhatWasSeen() {
    m_services.lines->reset();
    m_displays.forget();
    m_images.forgetSilence();
}

void Recorder::startTimer() {
    m_timer =
        m_services.startTimer(m_queue, firstTickSeconds, m_policy.captureImages ? imageTickSeconds : textTickSeconds,
                              tickLeewaySeconds, [this] {
                                  tick();
                                  m_underWay.setReport(std::nullopt);
                              });
}

void Recorder::stop() {
    m_state.isRunning = false;
    m_timer.reset();
    m_streams.stopAll();
    m_services.segments.closeAll();
    m_ingest.flush(true);
}

void Recorder::publishStatus() {
    if (const auto status = m_state.takeNewStatus(m_policy.captureImages))
        m_events.post(&CaptureEvents::status, *status);
}

void Recorder::reevaluatePolicy() {
    const CapturePolicy fresh =
        PolicyEngine::evaluate(m_config.mode, m_power, m_config.textOnly, m_config.ocrOnBattery);
    if (fresh == m_policy) return;
    const CapturePolicy before = std::exchange(m_policy, fresh);
    m_events.post(&CaptureEvents::policy, fresh);
    if (!m_state.isRunning) return;
    if (fresh.captureImages != before.captureImages) {
        startTimer();
        if (!fresh.captureImages) m_services.segments.closeAll();
        m_streams.reconcile(false, false);
    } else if (fresh.streamInterval != before.streamInterval) {
        m_streams.updateInterval(fresh.streamInterval);
    }
    publishStatus();
}

// Password prompters are never looked at, whatever the user left out.
StreamReconciler::Wishes Recorder::streamWishes() const {
    StreamReconciler::Wishes wishes;
    if (!m_state.isRunning || !m_policy.captureImages || m_state.has(Block::permission)) return wishes;
    if (m_config.allDisplays) {
        for (const Display& display : m_services.windowServer.displays())
            wishes.displays.push_back(display.id);
    } else if (m_displays.active() != 0) {
        wishes.displays.push_back(m_displays.active());
    }
    std::vector<std::string>& excluded = wishes.filter.excludedApplications;
    excluded.assign(m_config.excludedApps.begin(), m_config.excludedApps.end());
    const auto& prompters = AppCatalog::passwordPrompters();
    excluded.insert(excluded.end(), prompters.begin(), prompters.end());
    if (m_services.ownBundleID) excluded.push_back(*m_services.ownBundleID);
    wishes.filter.excludedWindows = m_hiddenWindows.numbers();
    wishes.intervalSeconds = m_policy.streamInterval;
    return wishes;
}

void Recorder::permissionChanged(bool permitted) {
    m_state.set(Block::permission, !permitted);
    updateRunning();
}

} // namespace nomara
