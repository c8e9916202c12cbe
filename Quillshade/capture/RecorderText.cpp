#include "Quillshade/capture/RecorderLook.h"
#include "core/projects/ProjectInference.h"
#include "core/applications/AppCatalog.h"
#include "core/privacy/PrivacyRules.h"
#include "core/text/LineSplitter.h"

#include <algorithm>
#include <limits>

namespace nomara {

namespace {

constexpr double settleSeconds = 1.5; // a window just come up, or a person still typing
constexpr double rereadSeconds = 5;   // the same window isn't read more often than this
constexpr double unknownSeconds = 30; // a page that couldn't be told may be told then

} // namespace

std::optional<RelativeRect> relativeRect(const Rect& place, const Rect& bounds) {
    if (bounds.isEmpty()) return std::nullopt;
    const Rect visible = place.intersection(bounds);
    if (visible.isEmpty()) return std::nullopt;
    return RelativeRect{(visible.x - bounds.x) / bounds.width, (visible.y - bounds.y) / bounds.height,
                        visible.width / bounds.width, visible.height / bounds.height};
}

// What only a picture could prove is left out: there is none.
void Recorder::textOnlyTick(const Look& look) {
    DisplayState& state = m_states[look.display.id];
    const double sinceLast =
        state.lastCaptureAt ? look.now - *state.lastCaptureAt : std::numeric_limits<double>::infinity();
    const bool sameContext = state.capturedContext == look.contextKey;
    if (isStillHeldBack(state, look)) return;
    if (sameContext) {
        const bool pausedAfterInput = look.inputIdle && *look.inputIdle >= settleSeconds &&
                                      sinceLast > *look.inputIdle &&
                                      sinceLast >= std::max(rereadSeconds, m_policy.minInterval);
        if (!pausedAfterInput && sinceLast < m_policy.heartbeat) return;
    } else if (sinceLast < settleSeconds) {
        return;
    }
    const FrontPage page = frontPage(look);
    if (page.stop != SkipReason::Kind::none) {
        publishPage(look, page.stop);
        state.heldBack = heldBackPage(look, page.stop);
        state.lastCaptureAt = look.now;
        return noteLook(look, look.display.id, LookResult::heldBack);
    }
    publishPage(look, SkipReason::Kind::none);
    state.heldBack.reset();
    std::string text;
    if (look.window.element && !look.titlesOnly)
        text = m_inspector.text(*look.window.element, look.window.frame, TextLimits()).text;
    state.lastCaptureAt = look.now;
    if (!isStillShown(look, page)) {
        if (page.isBrowser) publishPage(look, SkipReason::Kind::unverifiedBrowser);
        return noteLook(look, look.display.id, LookResult::heldBack);
    }
    NewFrame frame;
    frame.lines = m_services.lines->newLines(LineSplitter::lines(text, maxCaptureCharacters, maxCaptureLines),
                                             look.contextKey, look.now);
    if (sameContext && frame.lines.empty()) return noteLook(look, look.display.id, LookResult::unchanged);
    frame.timestamp = look.date;
    frame.displayID = look.display.id;
    describeFrontWindow(frame, look, page, m_config);
    frame.width = static_cast<std::int64_t>(look.display.bounds.width);
    frame.height = static_cast<std::int64_t>(look.display.bounds.height);
    frame.textSource = text.empty() ? TextSource() : TextSource::accessibility();
    noteLook(look, look.display.id, saveFrame(frame) ? LookResult::storedText : LookResult::failed);
    state.capturedContext = look.contextKey;
}

void Recorder::describeFrontWindow(NewFrame& frame, const Look& look, const FrontPage& page,
                                   const RecorderConfig& config) {
    frame.appBundleID = look.app.bundleID;
    frame.appName = look.app.name;
    frame.windowTitle = look.window.title;
    frame.url = page.url;
    frame.project =
        ProjectInference::infer(look.app.bundleID, look.app.name, look.window.title, page.url, config.projectRules);
    if (look.window.frame) frame.windowRect = relativeRect(*look.window.frame, look.display.bounds);
}

HeldBackPage Recorder::heldBackPage(const Look& look, SkipReason::Kind reason) {
    HeldBackPage page{reason, look.now, look.windowKey, look.window.title, {}, false};
    for (const WindowInfo& window : look.windows)
        page.windows.push_back(window.life != 0 ? window.life : window.number);
    return page;
}

// A private window stays private. Another page may come up under the same title, by what somebody does or by itself;
// what it paints is hidden from the streams.
bool Recorder::isStillHeldBack(const DisplayState& state, const Look& look) const {
    if (!state.heldBack || state.heldBack->isOutdated) return false;
    const HeldBackPage& page = *state.heldBack;
    const HeldBackPage now = heldBackPage(look, page.reason);
    if (now.window != page.window || now.title != page.title || now.windows != page.windows) return false;
    if (page.reason == SkipReason::Kind::privateWindow) return true;
    const double since = look.now - page.at;
    return look.inputIdle >= since &&
           since < (page.reason == SkipReason::Kind::excludedSite ? m_policy.heartbeat : unknownSeconds);
}

Recorder::FrontPage Recorder::frontPage(const Look& look) {
    if (isBrowser(look.app)) return frontBrowserPage(look);
    FrontPage page;
    if (look.window.element) page.url = m_inspector.documentAddress(*look.window.element);
    if (PrivacyRules::isExcludedSite(page.url, m_config.excludedSites)) page.stop = SkipReason::Kind::excludedSite;
    return page;
}

// A browser's window proves itself harmless before anything of it is kept.
Recorder::FrontPage Recorder::frontBrowserPage(const Look& look) {
    FrontPage page;
    page.isBrowser = true;
    page.browser = m_browserPrivacy.front(look.app.pid, look.window, look.windows,
                                          AppCatalog::isAlwaysPrivate(look.app.bundleID), m_config);
    page.url = page.browser.url;
    switch (page.browser.verdict) {
    case WindowPrivacy::Verdict::privateWindow:
        page.stop = SkipReason::Kind::privateWindow;
        break;
    case WindowPrivacy::Verdict::excludedSite:
        page.stop = SkipReason::Kind::excludedSite;
        break;
    case WindowPrivacy::Verdict::unknown:
    case WindowPrivacy::Verdict::unconfirmed:
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
    if (app && app->pid == look.app.pid && *app != look.app) return false;
    if (m_config.excludedSites.empty() || (!page.isBrowser && !page.url)) return true;
    if (!look.window.element) return false;
    const auto url = page.isBrowser ? m_browserPrivacy.readAgain(page.browser, look.window)
                                    : m_inspector.documentAddress(*look.window.element);
    if (url != page.url) return false;
    const WindowSnapshot now = m_inspector.snapshot(look.app.pid, look.windows);
    return now.element == look.window.element && now.title == look.window.title;
}

} // namespace nomara
