#include "Quillshade/capture/Recorder.h"

#include "Quillshade/segments/SegmentManager.h"
#include "core/applications/AppCatalog.h"

#include <algorithm>

namespace nomara {

namespace {

constexpr double imageTickSeconds = 1, textTickSeconds = 2, firstTickSeconds = 0.5, tickLeewaySeconds = 0.3;

} // namespace

Recorder::Recorder(Services services)
    : m_services(std::move(services)), m_inspector(m_services.accessibility, m_services.windowServer),
      m_browserPrivacy(m_inspector, m_services.windowServer, m_services.identify, m_services.clock),
      m_policy(PolicyEngine::evaluate(CaptureMode::balanced, {}, false, false)),
      m_activeDisplay(mainDisplay(m_services.windowServer.displays()).id), m_lastFlush(m_services.clock.uptime()),
      m_streams({m_queue, m_services.streams, m_services.clock, [this] { return m_browserPrivacy.visibleWindows(); },
                 m_services.startTimer},
                {[this] { return streamWishes(); }, [this](DisplayID display) { m_services.segments.close(display); },
                 [this] {
                     m_blocks.insert(Block::paused);
                     updateRunning();
                     post(&Events::userStopped);
                 },
                 [this](bool permitted) { permissionChanged(permitted); },
                 [this] { holdImages(ImageValidity::Hold::filter); },
                 [this](double since) { releaseImages(ImageValidity::Hold::filter, since); }}) {
    // Also while nothing is looked at: a display may go and come back behind a screen locker.
    m_services.windowServer.observeDisplays([this] { reconcileDisplays(); });
}

Recorder::~Recorder() {
    m_services.windowServer.observeDisplays({});
    m_queue.sync([this] {
        m_timer.reset();
        m_running = false;
    });
}

void Recorder::setEvents(Events events) {
    *m_events = std::move(events);
}

// What the user wants now doesn't wait for a picture to be read or an encoder to be ready.
void Recorder::interrupt(SerialQueue::Work work) {
    ++m_changesWaiting;
    m_queue.async([this, work = std::move(work)] {
        --m_changesWaiting;
        work();
    });
}

void Recorder::setBlock(Block block, bool on) {
    interrupt([this, block, on] {
        if (on)
            m_blocks.insert(block);
        else
            m_blocks.erase(block);
        updateRunning();
    });
}

void Recorder::setConfig(RecorderConfig config) {
    interrupt([this, config = std::move(config)] {
        const RecorderConfig before = std::exchange(m_config, config);
        for (auto& [display, state] : m_states)
            if (state.heldBack) state.heldBack->isOutdated = true; // it may be allowed now
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
        ++m_holders;
        m_services.segments.closeAllAndWait();
        m_services.mainThread(held);
    });
}

void Recorder::resumeCapture() {
    m_queue.async([this] {
        if (m_holders > 0 && --m_holders == 0) forgetWhatWasSeen();
    });
}

void Recorder::shutdown() {
    ++m_changesWaiting;
    m_queue.sync([this] {
        --m_changesWaiting;
        m_timer.reset();
        m_running = false;
        m_streams.stopAll();
        flushStats(true); // first, as a process that takes too long to end is ended
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
    const std::lock_guard lock(m_longLookMutex);
    return m_longLook;
}

void Recorder::keepReport(std::optional<CaptureReport> report) {
    const std::lock_guard lock(m_longLookMutex);
    m_longLook = std::move(report);
}

CaptureReport Recorder::report() {
    CaptureReport report;
    report.accessibilityTrusted = m_services.accessibility.isTrusted();
    report.accessibilityReason = m_services.accessibility.unavailableReason();
    report.streamTrouble = m_streams.trouble();
    report.openSegments = m_services.segments.openPaths();
    report.lastPicture = m_lastPicture;
    for (const Display& display : m_services.windowServer.displays()) {
        const auto look = m_lastLooks.find(display.id);
        const LastLook last = look == m_lastLooks.end() ? LastLook() : look->second;
        report.displays.push_back({display.id, display.name, display.bounds, display.id == m_activeDisplay,
                                   m_streams.capturers().contains(display.id), last.result, last.at});
    }
    return report;
}

void Recorder::updateRunning() {
    if (m_blocks.empty() && !m_running) {
        m_running = true;
        forgetWhatWasSeen();
        startTimer();
        m_streams.reconcile(false, false);
    } else if (!m_blocks.empty() && m_running) {
        stop();
    }
    publishStatus();
}

// Nobody asked what may be kept meanwhile, so no image of that time is; a stream may have gone on, or been starting.
void Recorder::forgetWhatWasSeen() {
    m_services.lines->reset();
    m_states.clear();
    holdImages(ImageValidity::Hold::notClear);
    m_imagelessSince.reset();
}

void Recorder::startTimer() {
    m_timer =
        m_services.startTimer(m_queue, firstTickSeconds, m_policy.captureImages ? imageTickSeconds : textTickSeconds,
                              tickLeewaySeconds, [this] {
                                  tick();
                                  keepReport(std::nullopt);
                              });
}

void Recorder::stop() {
    m_running = false;
    m_timer.reset();
    m_streams.stopAll();
    m_services.segments.closeAll();
    flushStats(true);
}

void Recorder::publishStatus() {
    const RecorderStatus now = status();
    if (m_lastStatus == now) return;
    m_lastStatus = now;
    post(&Events::status, now);
}

// The order is that of what the user can do about it.
RecorderStatus Recorder::status() const {
    using Kind = RecorderStatus::Kind;
    const auto blockedBy = [this](std::initializer_list<Block> blocks) {
        return std::any_of(blocks.begin(), blocks.end(), [this](Block block) { return m_blocks.contains(block); });
    };
    if (blockedBy({Block::stopped})) return {Kind::stopped};
    if (blockedBy({Block::permission})) return {Kind::needsPermission};
    if (blockedBy({Block::settings, Block::storage})) return {Kind::waiting};
    if (blockedBy({Block::paused})) return {Kind::paused};
    if (blockedBy({Block::locked, Block::screensaver, Block::sessionInactive})) return {Kind::locked};
    if (blockedBy({Block::asleep, Block::displayAsleep})) return {Kind::asleep};
    return {Kind::recording, !m_policy.captureImages};
}

void Recorder::reevaluatePolicy() {
    const CapturePolicy fresh =
        PolicyEngine::evaluate(m_config.mode, m_power, m_config.textOnly, m_config.ocrOnBattery);
    if (fresh == m_policy) return;
    const CapturePolicy before = std::exchange(m_policy, fresh);
    post(&Events::policy, fresh);
    if (!m_running) return;
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
    if (!m_running || !m_policy.captureImages || m_blocks.contains(Block::permission)) return wishes;
    if (m_config.allDisplays) {
        for (const Display& display : m_services.windowServer.displays())
            wishes.displays.push_back(display.id);
    } else if (m_activeDisplay != 0) {
        wishes.displays.push_back(m_activeDisplay);
    }
    std::vector<std::string>& excluded = wishes.filter.excludedApplications;
    excluded.assign(m_config.excludedApps.begin(), m_config.excludedApps.end());
    const auto& prompters = AppCatalog::passwordPrompters();
    excluded.insert(excluded.end(), prompters.begin(), prompters.end());
    if (m_services.ownBundleID) excluded.push_back(*m_services.ownBundleID);
    wishes.filter.excludedWindows = m_hiddenWindows;
    wishes.intervalSeconds = m_policy.streamInterval;
    return wishes;
}

void Recorder::permissionChanged(bool permitted) {
    if (permitted)
        m_blocks.erase(Block::permission);
    else
        m_blocks.insert(Block::permission);
    updateRunning();
}

} // namespace nomara
