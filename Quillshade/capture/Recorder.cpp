#include "Quillshade/capture/Recorder.h"

#include "Quillshade/store/StoreHub.h"
#include "core/base/Calendar.h"
#include "core/base/Log.h"
#include "core/journal/ProjectInference.h"
#include "core/privacy/AppCatalog.h"
#include "core/privacy/PrivacyRules.h"
#include "core/text/LineSplitter.h"

#include <algorithm>
#include <limits>

namespace nomara {

namespace {

constexpr double imageTickSeconds = 1, textTickSeconds = 2, firstTickSeconds = 0.5, tickLeewaySeconds = 0.3;
constexpr double flushSeconds = 60;
constexpr double settleSeconds = 1.5; // a window just come up, or a person still typing
constexpr double rereadSeconds = 5;   // the same window isn't read more often than this
constexpr std::int64_t maxCharacters = 40'000, maxLines = 2'000;

std::optional<RelativeRect> windowRect(const std::optional<Rect>& frame, const Rect& bounds) {
    if (!frame || bounds.isEmpty()) return std::nullopt;
    const Rect visible = frame->intersection(bounds);
    if (visible.isEmpty()) return std::nullopt;
    return RelativeRect{(visible.x - bounds.x) / bounds.width, (visible.y - bounds.y) / bounds.height,
                        visible.width / bounds.width, visible.height / bounds.height};
}

} // namespace

/// What one tick has found out before it comes to the displays.
struct Recorder::Look {
    double now = 0;
    Date date;
    double inputIdle = 0;
    FrontmostApp app;
    WindowSnapshot window;
    std::string contextKey;
    Display display;
};

/// What may be recorded of the front window's page.
struct Recorder::FrontPage {
    std::optional<std::string> url;
    SkipReason::Kind stop = SkipReason::Kind::none; ///< why nothing of it may be kept
    bool isBrowser = false;
};

template <typename... Arguments, typename... Values>
void Recorder::post(std::function<void(Arguments...)> Events::*callback, Values... values) {
    m_services.mainThread([weak = std::weak_ptr(m_events), callback, ... held = std::move(values)] {
        if (const auto events = weak.lock()) ((*events).*callback)(held...);
    });
}

Recorder::Recorder(Services services)
    : m_services(std::move(services)), m_inspector(m_services.accessibility, m_services.windowServer),
      m_browserPrivacy(m_inspector, m_services.windowServer, m_services.identify),
      m_policy(PolicyEngine::evaluate(CaptureMode::balanced, {}, false, false)),
      m_activeDisplay(mainDisplay(m_services.windowServer.displays()).id), m_lastFlush(m_services.clock.uptime()) {}

Recorder::~Recorder() {
    m_queue.sync([this] { m_timer.reset(); });
}

void Recorder::setEvents(Events events) {
    *m_events = std::move(events);
}

void Recorder::setBlock(Block block, bool on) {
    m_queue.async([this, block, on] {
        if (on)
            m_blocks.insert(block);
        else
            m_blocks.erase(block);
        updateRunning();
    });
}

void Recorder::setConfig(RecorderConfig config) {
    m_queue.async([this, config = std::move(config)] {
        m_config = config;
        reevaluatePolicy();
    });
}

void Recorder::setPower(PowerSnapshot power) {
    m_queue.async([this, power] {
        m_power = power;
        reevaluatePolicy();
    });
}

void Recorder::suspendCapture(std::function<void()> held) {
    m_queue.async([this, held = std::move(held)] {
        m_holding = true;
        m_services.mainThread(held);
    });
}

void Recorder::resumeCapture() {
    m_queue.async([this] {
        m_holding = false;
        m_deduper.reset();
        m_states.clear();
    });
}

void Recorder::shutdown() {
    m_queue.sync([this] {
        m_timer.reset();
        m_running = false;
        flushStats(true);
    });
}

CapturePolicy Recorder::policy() {
    return m_queue.sync([this] { return m_policy; });
}

void Recorder::askAccessibility(std::function<void(bool, std::string)> answer) {
    m_queue.async([this, answer = std::move(answer)] {
        const bool trusted = m_services.accessibility.isTrusted();
        m_services.mainThread(
            [answer, trusted, reason = m_services.accessibility.unavailableReason()] { answer(trusted, reason); });
    });
}

void Recorder::updateRunning() {
    if (m_blocks.empty() && !m_running) {
        m_running = true;
        m_states.clear();
        m_deduper.reset();
        startTimer();
    } else if (!m_blocks.empty() && m_running) {
        stop();
    }
    publishStatus();
}

void Recorder::startTimer() {
    m_timer =
        m_services.startTimer(m_queue, firstTickSeconds, m_policy.captureImages ? imageTickSeconds : textTickSeconds,
                              tickLeewaySeconds, [this] { tick(); });
}

void Recorder::stop() {
    m_running = false;
    m_timer.reset();
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
    if (blockedBy({Block::paused})) return {Kind::paused};
    if (blockedBy({Block::locked, Block::screensaver, Block::sessionInactive})) return {Kind::locked};
    if (blockedBy({Block::asleep, Block::displayAsleep})) return {Kind::asleep};
    return {Kind::recording, !m_policy.captureImages};
}

void Recorder::reevaluatePolicy() {
    const CapturePolicy fresh =
        PolicyEngine::evaluate(m_config.mode, m_power, m_config.textOnly, m_config.ocrOnBattery);
    if (fresh == m_policy) return;
    const bool imagesChanged = fresh.captureImages != m_policy.captureImages;
    m_policy = fresh;
    post(&Events::policy, fresh);
    if (!m_running) return;
    if (imagesChanged) startTimer();
    publishStatus();
}

// What is expensive comes last, and runs only for what the cheap questions let through.
void Recorder::tick() {
    m_queue.assertCurrent();
    if (!m_running || m_holding) return;
    Look look;
    look.now = m_services.clock.uptime();
    look.date = m_services.clock.now();
    flushStats(false);
    const auto app = m_services.frontmost.current();
    if (!app) return;
    look.app = *app;
    if (app->bundleID == m_services.ownBundleID) return publishSkip({SkipReason::Kind::ownApp, {}});
    if (app->bundleID && m_config.excludedApps.contains(*app->bundleID))
        return publishSkip({SkipReason::Kind::excludedApp, app->name.value_or(*app->bundleID)});
    // Secure input that another program left on doesn't stop capture, as long as the focus can be seen to lie
    // elsewhere.
    const SecureInput secure = m_services.input.secureInput();
    if (secure == SecureInput::certain ||
        (secure == SecureInput::possible && (!m_inspector.isTrusted() || m_inspector.focusIsSecure())))
        return publishSkip({SkipReason::Kind::secureInput, {}});
    look.window = m_inspector.snapshot(app->pid);
    if (m_config.skipPrivateWindows && PrivacyRules::isPrivateTitle(look.window.title))
        return publishSkip({SkipReason::Kind::privateWindow, {}});
    look.contextKey = contextKey(app->bundleID, look.window.title);
    const auto displays = m_services.windowServer.displays();
    look.display = look.window.frame ? displayAt(displays, look.window.frame->middle()) : mainDisplay(displays);
    m_activeDisplay = look.display.id;
    look.inputIdle = m_services.input.secondsSinceLastInput();
    publishSkip({});
    if (!m_policy.captureImages) textOnlyTick(look);
}

void Recorder::textOnlyTick(const Look& look) {
    DisplayState& state = m_states[look.display.id];
    const double sinceLast =
        state.lastCaptureAt ? look.now - *state.lastCaptureAt : std::numeric_limits<double>::infinity();
    const bool sameContext = state.capturedContext == look.contextKey;
    if (sameContext) {
        const bool pausedAfterInput = look.inputIdle >= settleSeconds && sinceLast > look.inputIdle &&
                                      sinceLast >= std::max(rereadSeconds, m_policy.minInterval);
        if (!pausedAfterInput && sinceLast < m_policy.heartbeat) return;
    } else if (sinceLast < settleSeconds) {
        return;
    }
    const FrontPage page = frontPage(look);
    if (page.stop != SkipReason::Kind::none) {
        publishSkip({page.stop, {}});
        state.lastCaptureAt = look.now;
        return;
    }
    NewFrame frame;
    std::string text;
    if (look.window.element) text = m_inspector.text(*look.window.element, look.window.frame, TextLimits()).text;
    if (!isStillShown(look, page)) {
        if (page.isBrowser) publishSkip({SkipReason::Kind::unverifiedBrowser, {}});
        state.lastCaptureAt = look.now;
        return;
    }
    frame.lines = m_deduper.newLines(LineSplitter::lines(text, maxCharacters, maxLines), look.contextKey, look.date);
    state.lastCaptureAt = look.now;
    if (sameContext && frame.lines.empty()) return;
    frame.timestamp = look.date;
    frame.displayID = look.display.id;
    frame.appBundleID = look.app.bundleID;
    frame.appName = look.app.name;
    frame.windowTitle = look.window.title;
    frame.url = page.url;
    frame.project =
        ProjectInference::infer(look.app.bundleID, look.app.name, look.window.title, page.url, m_config.projectRules);
    frame.width = static_cast<std::int64_t>(look.display.bounds.width);
    frame.height = static_cast<std::int64_t>(look.display.bounds.height);
    frame.textSource = text.empty() ? TextSource() : TextSource::accessibility();
    frame.windowRect = windowRect(look.window.frame, look.display.bounds);
    saveFrame(frame);
    state.capturedContext = look.contextKey;
}

Recorder::FrontPage Recorder::frontPage(const Look& look) {
    if (look.app.isBrowser || AppCatalog::isBrowser(look.app.bundleID)) return frontBrowserPage(look);
    FrontPage page;
    if (look.window.element) page.url = m_inspector.documentAddress(*look.window.element);
    if (PrivacyRules::isExcludedSite(page.url, m_config.excludedSites)) page.stop = SkipReason::Kind::excludedSite;
    return page;
}

// A browser's window proves itself harmless before anything of it is kept.
Recorder::FrontPage Recorder::frontBrowserPage(const Look& look) {
    FrontPage page{std::nullopt, SkipReason::Kind::none, true};
    std::optional<bool> marker;
    if (AppCatalog::isAlwaysPrivate(look.app.bundleID)) marker = true;
    // Without an element there is nothing to tell which of several windows this is, so what is known of any counts
    // for nothing.
    if (look.window.element && !marker) {
        const AccessibleElement& element = *look.window.element;
        const auto number = m_inspector.windowNumber(look.app.pid, look.window);
        const auto known =
            number ? m_browserPrivacy.known(*number, element, look.window.title, look.now) : std::nullopt;
        if (known) {
            page.url = known->url;
            marker = known->privateMarker;
        } else {
            const BrowserFacts facts = m_inspector.browserFacts(element, true);
            page.url = facts.url;
            if (facts.markerKnown) marker = facts.privateMarker;
            // Windows may have changed places meanwhile.
            if (number && m_inspector.windowNumber(look.app.pid, look.window) == number)
                m_browserPrivacy.record(page.url, marker, *number, element, look.window.title, look.now);
        }
    }
    switch (WindowPrivacy::verdict(look.window.title, page.url, marker, m_config.skipPrivateWindows,
                                   m_config.excludedSites)) {
    case WindowPrivacy::Verdict::privateWindow:
        page.stop = SkipReason::Kind::privateWindow;
        break;
    case WindowPrivacy::Verdict::excludedSite:
        page.stop = SkipReason::Kind::excludedSite;
        break;
    case WindowPrivacy::Verdict::unknown:
        page.stop = SkipReason::Kind::unverifiedBrowser;
        break;
    case WindowPrivacy::Verdict::allow:
        break;
    }
    return page;
}

// Another tab may have come to the front, or another page into it, while the text was read; and the title, which was
// read before the address, may be the last page's. One process may also show several applications, one of which is
// excluded.
bool Recorder::isStillShown(const Look& look, const FrontPage& page) {
    const auto app = m_services.frontmost.current();
    if (app && app->pid == look.app.pid && app->bundleID != look.app.bundleID) return false;
    if (m_config.excludedSites.empty() || (!page.isBrowser && !page.url)) return true;
    if (!look.window.element) return false;
    const AccessibleElement& element = *look.window.element;
    const auto url =
        page.isBrowser ? m_inspector.browserFacts(element, false).url : m_inspector.documentAddress(element);
    if (url != page.url) return false;
    const WindowSnapshot now = m_inspector.snapshot(look.app.pid);
    return now.element == look.window.element && now.title == look.window.title;
}

void Recorder::publishSkip(const SkipReason& reason) {
    if (reason == m_lastSkip) return;
    m_lastSkip = reason;
    post(&Events::skip, reason);
}

void Recorder::flushStats(bool force) {
    const double now = m_services.clock.uptime();
    if (!force && now - m_lastFlush < flushSeconds) return;
    m_lastFlush = now;
    if (m_pendingStats.isEmpty()) return;
    const StatsDelta delta = std::exchange(m_pendingStats, {});
    const std::string day = Calendar::dayKey(m_services.clock.now());
    try {
        m_services.hub.write([&](MemoryStore& store) { store.addStats(day, delta); });
    } catch (const std::exception&) {
        // Counters are for display; a lost minute of them isn't worth a second try.
    }
}

void Recorder::saveFrame(const NewFrame& frame) {
    FrameSummary summary;
    try {
        summary.id = m_services.hub.write([&](MemoryStore& store) { return store.insertFrame(frame); });
    } catch (const std::exception& error) {
        Log::error(LogCategory::capture, std::string("Frame insert failed: ") + error.what());
        return;
    }
    m_pendingStats.framesSaved += 1;
    summary.timestamp = frame.timestamp;
    summary.displayID = frame.displayID;
    summary.appBundleID = frame.appBundleID;
    summary.appName = frame.appName;
    summary.windowTitle = frame.windowTitle;
    summary.url = frame.url;
    summary.imageState = frame.imageState;
    post(&Events::saved, summary, frame.project);
}

} // namespace nomara
