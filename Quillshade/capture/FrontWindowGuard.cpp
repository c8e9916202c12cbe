#include "Quillshade/capture/FrontWindowGuard.h"

#include "core/applications/AppCatalog.h"
#include "core/policy/PolicyEngine.h"
#include "core/privacy/PrivacyRules.h"

#include <algorithm>

namespace nomara {

namespace {

constexpr double unknownSeconds = 30; // a page that couldn't be told may be told then

} // namespace

std::optional<FrontWindowGuard::Stop> FrontWindowGuard::examine(TickContext& tick) {
    const FrontmostApp& app = tick.app;
    if (app.bundleID == m_services.ownBundleID) return Stop{{SkipReason::Kind::ownApp, {}}, false};
    // A window that hasn't told yet which of several applications it is may be any of them.
    if (isOrMayBe(app, [&](const std::string& bundleID) { return tick.config.excludedApps.contains(bundleID); }))
        return Stop{{SkipReason::Kind::excludedApp, app.name.value_or(app.bundleID.value_or(""))}, true};
    tick.windows = m_services.windowServer.onScreenWindows();
    const SecureInput secure = m_services.input.secureInput(tick.windows);
    SecureFocus focus = SecureFocus::no;
    if (secure == SecureInput::certain)
        focus = SecureFocus::yes;
    else if (secure != SecureInput::off)
        focus = m_services.inspector.focusIsSecure(app.pid);
    // Secure input that another program left on doesn't stop capture, as long as the focus can be seen to lie
    // elsewhere.
    if (focus == SecureFocus::yes || (focus == SecureFocus::unknown && secure == SecureInput::possible))
        return Stop{{SkipReason::Kind::secureInput, {}}, true};
    tick.titlesOnly = focus == SecureFocus::unknown;
    tick.window = m_services.inspector.snapshot(app.pid, tick.windows);
    if (tick.config.skipPrivateWindows && PrivacyRules::isPrivateTitle(tick.window.title)) {
        if (isBrowser(app)) m_services.browserPrivacy.observeTitle(app.pid, tick.window, tick.windows);
        return Stop{{SkipReason::Kind::privateWindow, {}}, true};
    }
    tick.windowKey = windowKey(tick);
    tick.contextKey = contextKey(app.bundleID, m_contextTitle.of(tick.windowKey, tick.window.title, tick.now));
    // The window is read as soon as it may be, as one not seen before.
    if (tick.titlesOnly) tick.contextKey += "\x1Ftitle";
    tick.displays = m_services.windowServer.displays();
    tick.display =
        tick.window.frame ? displayAt(tick.displays, tick.window.frame->middle()) : mainDisplay(tick.displays);
    tick.inputIdle = m_services.input.secondsSinceLastInput();
    return std::nullopt;
}

std::string FrontWindowGuard::windowKey(const TickContext& tick) {
    std::string key = std::to_string(tick.app.pid);
    if (tick.window.element) return key + '/' + tick.window.element->reference;
    const auto window = std::ranges::find_if(tick.windows, [&](const WindowInfo& each) {
        return each.pid == tick.app.pid && each.title == tick.window.title && each.bounds == tick.window.frame;
    });
    if (window != tick.windows.end()) key += '.' + std::to_string(window->life);
    return key;
}

bool FrontWindowGuard::isBrowser(const FrontmostApp& app) {
    return app.isBrowser || AppCatalog::isBrowser(app.bundleID);
}

HeldBackPage FrontWindowGuard::heldBackPage(const TickContext& tick, SkipReason::Kind reason) {
    HeldBackPage page{reason, tick.now, tick.windowKey, tick.window.title, {}, false};
    for (const WindowInfo& window : tick.windows)
        page.windows.push_back(window.life != 0 ? window.life : window.number);
    return page;
}

// A private window stays private. Another page may come up under the same title, by what somebody does or by itself;
// what it paints is hidden from the streams.
bool FrontWindowGuard::isStillHeldBack(const DisplayState& state, const TickContext& tick) {
    if (!state.heldBack || state.heldBack->isOutdated) return false;
    const HeldBackPage& page = *state.heldBack;
    const HeldBackPage now = heldBackPage(tick, page.reason);
    if (now.window != page.window || now.title != page.title || now.windows != page.windows) return false;
    if (page.reason == SkipReason::Kind::privateWindow) return true;
    const double since = tick.now - page.at;
    return tick.inputIdle >= since &&
           since < (page.reason == SkipReason::Kind::excludedSite ? tick.policy.heartbeat : unknownSeconds);
}

FrontPage FrontWindowGuard::page(const TickContext& tick) {
    if (isBrowser(tick.app)) return browserPage(tick);
    FrontPage page;
    if (tick.window.element) page.url = m_services.inspector.documentAddress(*tick.window.element);
    if (PrivacyRules::isExcludedSite(page.url, tick.config.excludedSites)) page.stop = SkipReason::Kind::excludedSite;
    return page;
}

// A browser's window proves itself harmless before anything of it is kept.
FrontPage FrontWindowGuard::browserPage(const TickContext& tick) {
    FrontPage page;
    page.isBrowser = true;
    page.browser = m_services.browserPrivacy.front(tick.app.pid, tick.window, tick.windows,
                                                   AppCatalog::isAlwaysPrivate(tick.app.bundleID), tick.config);
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
bool FrontWindowGuard::isStillShown(const TickContext& tick, const FrontPage& page) {
    const auto app = m_services.frontmost.current();
    if (app && app->pid == tick.app.pid && *app != tick.app) return false;
    if (tick.config.excludedSites.empty() || (!page.isBrowser && !page.url)) return true;
    if (!tick.window.element) return false;
    const auto url = page.isBrowser ? m_services.browserPrivacy.readAgain(page.browser, tick.window)
                                    : m_services.inspector.documentAddress(*tick.window.element);
    if (url != page.url) return false;
    const WindowSnapshot now = m_services.inspector.snapshot(tick.app.pid, tick.windows);
    return now.element == tick.window.element && now.title == tick.window.title;
}

} // namespace nomara
