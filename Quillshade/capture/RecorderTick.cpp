#include "Quillshade/capture/RecorderLook.h"
#include "Quillshade/segments/SegmentManager.h"
#include "Quillshade/store/StoreHub.h"
#include "core/base/Calendar.h"
#include "core/base/Log.h"
#include "core/applications/AppCatalog.h"
#include "core/privacy/PrivacyRules.h"

#include <algorithm>
#include <utility>

namespace nomara {

namespace {

constexpr double flushSeconds = 60;
constexpr double idleSegmentSeconds = 120;

} // namespace

// What is expensive comes last, and runs only for what the cheap questions let through.
void Recorder::tick() {
    m_queue.assertCurrent();
    if (!m_running || m_holders > 0) return;
    Look look;
    look.now = m_services.clock.uptime();
    look.date = m_services.clock.now();
    flushStats(false);
    m_services.segments.closeIdle(idleSegmentSeconds);
    const auto app = m_services.frontmost.current();
    // Whatever has the keyboard then, nobody asks about it.
    if (!app) return holdImages(ImageValidity::Hold::notClear);
    look.app = *app;
    updateHiddenWindows();
    if (app->bundleID == m_services.ownBundleID) return recordSkip({SkipReason::Kind::ownApp, {}}, false);
    // A window that hasn't told yet which of several applications it is may be any of them.
    if (isOrMayBe(*app, [this](const std::string& bundleID) { return m_config.excludedApps.contains(bundleID); }))
        return recordSkip({SkipReason::Kind::excludedApp, app->name.value_or(app->bundleID.value_or(""))}, true);
    look.windows = m_services.windowServer.onScreenWindows();
    const SecureInput secure = m_services.input.secureInput(look.windows);
    SecureFocus focus = SecureFocus::no;
    if (secure == SecureInput::certain)
        focus = SecureFocus::yes;
    else if (secure != SecureInput::off)
        focus = m_inspector.focusIsSecure(app->pid);
    // Secure input that another program left on doesn't stop capture, as long as the focus can be seen to lie
    // elsewhere.
    if (focus == SecureFocus::yes || (focus == SecureFocus::unknown && secure == SecureInput::possible))
        return recordSkip({SkipReason::Kind::secureInput, {}}, true);
    look.titlesOnly = focus == SecureFocus::unknown;
    if (look.titlesOnly) dropImages();
    look.window = m_inspector.snapshot(app->pid, look.windows);
    if (m_config.skipPrivateWindows && PrivacyRules::isPrivateTitle(look.window.title)) {
        if (isBrowser(*app)) m_browserPrivacy.observeTitle(app->pid, look.window, look.windows);
        return recordSkip({SkipReason::Kind::privateWindow, {}}, true);
    }
    look.windowKey = windowKey(look);
    look.contextKey = contextKey(app->bundleID, m_contextTitle.of(look.windowKey, look.window.title, look.now));
    // The window is read as soon as it may be, as one not seen before.
    if (look.titlesOnly) look.contextKey += "\x1Ftitle";
    look.displays = m_services.windowServer.displays();
    look.display =
        look.window.frame ? displayAt(look.displays, look.window.frame->middle()) : mainDisplay(look.displays);
    followDisplays(look);
    look.inputIdle = m_services.input.secondsSinceLastInput();
    if (m_stoppedWindow != look.windowKey) publishPage(look, SkipReason::Kind::none);
    if (m_policy.captureImages && !look.titlesOnly)
        imageTick(look);
    else
        textOnlyTick(look);
}

std::string Recorder::windowKey(const Look& look) {
    std::string key = std::to_string(look.app.pid);
    if (look.window.element) return key + '/' + look.window.element->reference;
    const auto window = std::ranges::find_if(look.windows, [&](const WindowInfo& each) {
        return each.pid == look.app.pid && each.title == look.window.title && each.bounds == look.window.frame;
    });
    if (window != look.windows.end()) key += '.' + std::to_string(window->life);
    return key;
}

// Streams are reconciled only when the displays that are wanted may have changed: after a failure they wait for their
// time.
void Recorder::followDisplays(const Look& look) {
    std::set<DisplayID> ids;
    for (const Display& display : look.displays)
        ids.insert(display.id);
    std::erase_if(m_validity, [&](const auto& entry) { return !ids.contains(entry.first); });
    // Also of those whose stream is only just starting.
    for (const DisplayID id : ids) {
        if (look.titlesOnly)
            m_validity[id].hold(ImageValidity::Hold::notClear);
        else
            m_validity[id].release(ImageValidity::Hold::notClear, look.now);
    }
    const bool displaysChanged = std::exchange(m_knownDisplays, ids) != ids;
    const bool activeChanged = std::exchange(m_activeDisplay, look.display.id) != look.display.id;
    if (activeChanged) m_imagelessSince.reset();
    if (m_config.allDisplays ? displaysChanged : activeChanged) m_streams.reconcile(false, false);
}

bool Recorder::isBrowser(const FrontmostApp& app) {
    return app.isBrowser || AppCatalog::isBrowser(app.bundleID);
}

// The streams leave out what must not be seen, wherever a compositor may paint it; an image that was taken before they
// knew is dropped. Returns whether there is a window among them that there wasn't.
bool Recorder::updateHiddenWindows() {
    std::vector<std::uint32_t> windows;
    for (const HiddenWindow& window : m_browserPrivacy.hiddenWindows(m_config))
        windows.push_back(window.number);
    if (windows == m_hiddenWindows) return false;
    const bool hasNew = !std::ranges::includes(m_hiddenWindows, windows);
    m_hiddenWindows = std::move(windows);
    if (m_policy.captureImages) m_streams.reconcile(true, false);
    return hasNew;
}

void Recorder::recordSkip(const SkipReason& reason, bool dropsImages) {
    publishSkip(reason);
    m_stoppedWindow.reset();
    if (dropsImages) return dropImages();
    for (const auto& [display, capturer] : m_streams.capturers())
        capturer->clearMarks();
}

void Recorder::dropImages() {
    holdImages(ImageValidity::Hold::notClear);
    for (const auto& [display, capturer] : m_streams.capturers())
        capturer->dropLatest();
}

void Recorder::holdImages(ImageValidity::Hold reason) {
    for (auto& [display, validity] : m_validity)
        validity.hold(reason);
}

void Recorder::releaseImages(ImageValidity::Hold reason, double now) {
    for (auto& [display, validity] : m_validity)
        validity.release(reason, now);
}

void Recorder::noteLook(const Look& look, DisplayID display, LookResult result) {
    m_lastLooks[display] = {result, look.date};
}

void Recorder::publishSkip(const SkipReason& reason) {
    if (reason == m_lastSkip) return;
    m_lastSkip = reason;
    post(&Events::skip, reason);
}

/// What became of the page in front; it holds until a look finds otherwise or another window comes, whatever the title
/// says meanwhile.
void Recorder::publishPage(const Look& look, SkipReason::Kind stop) {
    m_stoppedWindow.reset();
    if (stop != SkipReason::Kind::none) m_stoppedWindow = look.windowKey;
    const bool keepsTitles = stop == SkipReason::Kind::none && look.titlesOnly;
    publishSkip({keepsTitles ? SkipReason::Kind::unknownFocus : stop, {}});
}

void Recorder::flushStats(bool force) {
    const double now = m_services.clock.uptime();
    if (!force && now - m_lastFlush < flushSeconds) return;
    m_lastFlush = now;
    // The cost of a quiet minute isn't worth a write of its own; it is counted with the next one.
    if (m_pendingStats.isEmpty() && !force) return;
    StatsDelta delta = std::exchange(m_pendingStats, {});
    const StatsDelta usage = m_services.takeUsage();
    delta.cpuSeconds += usage.cpuSeconds;
    delta.bytesWritten += usage.bytesWritten;
    const std::string day = Calendar::dayKey(m_services.clock.now());
    try {
        m_services.hub.write([&](MemoryStore& store) { store.addStats(day, delta); });
    } catch (const std::exception&) {
        // Counters are for display; a lost minute of them isn't worth a second try.
    }
}

std::optional<RowID> Recorder::saveFrame(const NewFrame& frame) {
    FrameSummary summary;
    try {
        summary.id = m_services.hub.write([&](MemoryStore& store) { return store.insertFrame(frame); });
    } catch (const std::exception& error) {
        Log::error(LogCategory::capture, std::string("Frame insert failed: ") + error.what());
        return std::nullopt;
    }
    m_pendingStats.framesSaved += 1;
    if (frame.imageState == ImageState::segment) m_lastPicture = {summary.id, frame.displayID, frame.timestamp};
    summary.timestamp = frame.timestamp;
    summary.displayID = frame.displayID;
    summary.appBundleID = frame.appBundleID;
    summary.appName = frame.appName;
    summary.windowTitle = frame.windowTitle;
    summary.url = frame.url;
    summary.imageState = frame.imageState;
    post(&Events::saved, summary, frame.project);
    return summary.id;
}

} // namespace nomara
