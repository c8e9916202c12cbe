#include "Quillshade/capture/TextPass.h"

#include "core/projects/ProjectInference.h"
#include "core/text/LineSplitter.h"

#include <algorithm>
#include <limits>

namespace nomara {

namespace {

constexpr double settleSeconds = 1.5; // a window just come up, or a person still typing
constexpr double rereadSeconds = 5;   // the same window isn't read more often than this

} // namespace

std::optional<RelativeRect> relativeRect(const Rect& place, const Rect& bounds) {
    if (bounds.isEmpty()) return std::nullopt;
    const Rect visible = place.intersection(bounds);
    if (visible.isEmpty()) return std::nullopt;
    return RelativeRect{(visible.x - bounds.x) / bounds.width, (visible.y - bounds.y) / bounds.height,
                        visible.width / bounds.width, visible.height / bounds.height};
}

void TextPass::run(const TickContext& tick) {
    DisplayState& state = m_services.displays.state(tick.display.id);
    const double sinceLast =
        state.lastCaptureAt ? tick.now - *state.lastCaptureAt : std::numeric_limits<double>::infinity();
    const bool sameContext = state.capturedContext == tick.contextKey;
    if (FrontWindowGuard::isStillHeldBack(state, tick)) return;
    if (sameContext) {
        const bool pausedAfterInput = tick.inputIdle && *tick.inputIdle >= settleSeconds &&
                                      sinceLast > *tick.inputIdle &&
                                      sinceLast >= std::max(rereadSeconds, tick.policy.minInterval);
        if (!pausedAfterInput && sinceLast < tick.policy.heartbeat) return;
    } else if (sinceLast < settleSeconds) {
        return;
    }
    const FrontPage page = m_services.guard.page(tick);
    if (page.stop != SkipReason::Kind::none) {
        m_services.log.page(tick, page.stop);
        state.heldBack = FrontWindowGuard::heldBackPage(tick, page.stop);
        state.lastCaptureAt = tick.now;
        return m_services.log.note(tick, tick.display.id, LookResult::heldBack);
    }
    m_services.log.page(tick, SkipReason::Kind::none);
    state.heldBack.reset();
    std::string text;
    if (tick.window.element && !tick.titlesOnly)
        text = m_services.inspector.text(*tick.window.element, tick.window.frame, TextLimits()).text;
    state.lastCaptureAt = tick.now;
    if (!m_services.guard.isStillShown(tick, page)) {
        if (page.isBrowser) m_services.log.page(tick, SkipReason::Kind::unverifiedBrowser);
        return m_services.log.note(tick, tick.display.id, LookResult::heldBack);
    }
    NewFrame frame;
    frame.lines = m_services.lines.newLines(LineSplitter::lines(text, maxCaptureCharacters, maxCaptureLines),
                                            tick.contextKey, tick.now);
    if (sameContext && frame.lines.empty()) return m_services.log.note(tick, tick.display.id, LookResult::unchanged);
    frame.timestamp = tick.date;
    frame.displayID = tick.display.id;
    describeFrontWindow(frame, tick, page);
    frame.width = static_cast<std::int64_t>(tick.display.bounds.width);
    frame.height = static_cast<std::int64_t>(tick.display.bounds.height);
    frame.textSource = text.empty() ? TextSource() : TextSource::accessibility();
    m_services.log.note(tick, tick.display.id,
                        m_services.ingest.save(frame) ? LookResult::storedText : LookResult::failed);
    state.capturedContext = tick.contextKey;
}

void TextPass::describeFrontWindow(NewFrame& frame, const TickContext& tick, const FrontPage& page) {
    frame.appBundleID = tick.app.bundleID;
    frame.appName = tick.app.name;
    frame.windowTitle = tick.window.title;
    frame.url = page.url;
    frame.project = ProjectInference::infer(tick.app.bundleID, tick.app.name, tick.window.title, page.url,
                                            tick.config.projectRules);
    if (tick.window.frame) frame.windowRect = relativeRect(*tick.window.frame, tick.display.bounds);
}

} // namespace nomara
