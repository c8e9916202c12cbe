#include "Quillshade/windows/BrowserPrivacy.h"

#include "Quillshade/windows/CaptureDiagnostics.h"
#include "Quillshade/windows/WindowMatcher.h"
#include "core/applications/AppCatalog.h"
#include "core/privacy/PrivacyRules.h"

#include <algorithm>
#include <set>
#include <utility>

namespace nomara {

namespace {

using WindowPrivacy::Verdict;

constexpr double askUnknownAgainSeconds = 30; // a marker that could not be told
constexpr double askTwinsAgainSeconds = 60;   // whose page is whose, among windows that can't be told apart
constexpr std::size_t maxOwners = 500;

bool contains(const std::vector<std::uint32_t>& numbers, std::uint32_t number) {
    return std::ranges::find(numbers, number) != numbers.end();
}

std::optional<bool> markerOf(const BrowserFacts& facts) {
    return facts.markerKnown ? std::optional(facts.privateMarker) : std::nullopt;
}

ScreenWindow screenWindow(const WindowInfo& window) {
    return {window.number, window.pid, window.bounds.value_or(Rect()), window.title, window.layer != 0,
            window.parent, window.life};
}

} // namespace

/// What lives for one call of `verdicts`.
struct BrowserPrivacy::Grading {
    const RecorderConfig& config;
    double imageAt = 0;
    bool isTrusted = false;
    std::map<ProcessID, std::vector<InspectedWindow>> windows; ///< of the processes that were asked
};

BrowserPrivacy::BrowserPrivacy(WindowInspector& inspector, WindowServer& windowServer, IdentityResolver identify,
                               const Clock& clock)
    : m_inspector(inspector), m_windowServer(windowServer), m_identify(std::move(identify)), m_clock(clock) {}

std::vector<ScreenWindow> BrowserPrivacy::visibleWindows() {
    const auto all = m_windowServer.onScreenWindows();
    // Menus don't tell what their program is, but its other windows do.
    std::map<ProcessID, Owner> browsers;
    for (const WindowInfo& window : all) {
        const Owner owner = ownerOf(window);
        if (!owner.isBrowser) continue;
        Owner& process = browsers[window.pid];
        process.isAlwaysPrivate = process.isAlwaysPrivate || owner.isAlwaysPrivate;
    }
    std::vector<ScreenWindow> windows;
    for (const WindowInfo& window : all) {
        if (!window.bounds || window.opacity <= 0) continue;
        const auto process = browsers.find(window.pid);
        if (process == browsers.end() || (window.pid == 0 && !ownerOf(window).isBrowser)) continue;
        windows.push_back(screenWindow(window));
        windows.back().isAlwaysPrivate = process->second.isAlwaysPrivate;
    }
    return windows;
}

BrowserPrivacy::Owner BrowserPrivacy::ownerOf(const WindowInfo& window) {
    const OwnerKey key(window.life, window.pid, window.className, window.role);
    const std::lock_guard lock(m_ownersLock);
    const auto known = m_owners.find(key);
    if (known != m_owners.end()) return known->second;
    ApplicationIdentity identity;
    if (m_identify) identity = m_identify(nomara::ownerOf(window));
    const Owner owner{identity.isBrowser || AppCatalog::isBrowser(identity.bundleID),
                      AppCatalog::isAlwaysPrivate(identity.bundleID)};
    // Without either nothing tells a process from a later one of the same number.
    if (window.life == 0 && window.className.empty()) return owner;
    if (m_owners.size() > maxOwners) m_owners.clear();
    m_owners.emplace(key, owner);
    return owner;
}

WindowPrivacy::Verdicts BrowserPrivacy::verdicts(const std::vector<ScreenWindow>& latest,
                                                 const std::optional<std::vector<ScreenWindow>>& previous,
                                                 double imageAt, const RecorderConfig& config) {
    endDestroyed();
    std::vector<ScreenWindow> all = latest;
    if (previous) all.insert(all.end(), previous->begin(), previous->end());
    if (all.empty()) return {};

    Grading grading{config, imageAt, m_inspector.isTrusted(), {}};
    WindowPrivacy::Verdicts known;
    for (const ScreenWindow& window : all) {
        const bool mayAsk = std::ranges::find(latest, window) != latest.end();
        const auto verdict = verdictOf(window, mayAsk, grading);
        if (!verdict) continue;
        // A bad grade is never replaced by a good one.
        const auto [entry, isNew] = known.try_emplace(window.id, *verdict);
        if (!isNew) entry->second = WindowPrivacy::worse(entry->second, *verdict);
    }
    auto resolved = WindowPrivacy::resolve(all, known, m_registry.worstBeside(all, config));
    for (const ScreenWindow& window : all)
        if (window.isPopup) m_registry.inherit(window, resolved.at(window.id));
    return resolved;
}

void BrowserPrivacy::endDestroyed() {
    m_registry.endDestroyed([this](const WindowKey& key) { return m_windowServer.isWindowAlive(key.number, key.life); },
                            m_clock.uptime());
}

std::optional<Verdict> BrowserPrivacy::verdictOf(const ScreenWindow& window, bool mayAsk, Grading& grading) {
    const double now = m_clock.uptime();
    WindowLife& life = m_registry.enter(window, now);
    // Menus, tips and drag images aren't windows of their own on the accessibility bus.
    if (window.isPopup) {
        const bool isPrivate = window.isAlwaysPrivate || PrivacyRules::isPrivateTitle(window.title);
        return isPrivate && grading.config.skipPrivateWindows ? std::optional(Verdict::privateWindow) : std::nullopt;
    }
    if (mayAsk && grading.isTrusted && shouldAsk(life, window, grading)) ask(life, window, grading);
    return life.verdictForImage(window.title, grading.config, grading.imageAt, now);
}

bool BrowserPrivacy::shouldAsk(const WindowLife& life, const ScreenWindow& window, const Grading& grading) const {
    const double sinceAttempt = m_clock.uptime() - life.attemptedAt().value_or(0);
    if (window.isAlwaysPrivate && grading.config.skipPrivateWindows) return false;
    if (!life.privateMarker()) return !life.attemptedAt() || sinceAttempt >= askUnknownAgainSeconds;
    if (grading.config.excludedSites.empty()) return false;
    if (*life.privateMarker() && grading.config.skipPrivateWindows) return false;
    if (life.element()) return !life.address().readAt() || *life.address().readAt() < grading.imageAt;
    return !life.attemptedAt() || life.attemptedTitle() != window.title || sinceAttempt >= askTwinsAgainSeconds;
}

void BrowserPrivacy::ask(WindowLife& life, const ScreenWindow& window, Grading& grading) {
    const double now = m_clock.uptime();
    // Which object of the bus it is was certain once, and stays so.
    if (life.privateMarker() && life.element()) {
        const BrowserFacts found = read(*life.element(), false);
        life.sawAddress(window.title, found.url, now, m_clock.uptime());
        if (found.url || (life.attemptedAt() && now - *life.attemptedAt() < askUnknownAgainSeconds)) return;
    }
    auto process = grading.windows.find(window.pid);
    if (process == grading.windows.end())
        process = grading.windows.emplace(window.pid, m_inspector.windows(window.pid)).first;
    life.sawAttempt(window.title, now);
    std::vector<const InspectedWindow*> matches;
    for (const InspectedWindow& candidate : process->second)
        if (contains(candidate.numbers, window.id) && candidate.frame &&
            WindowMatcher::isNear(*candidate.frame, window.frame))
            matches.push_back(&candidate);
    const bool isCertain = matches.size() == 1 && matches.front()->numbers.size() == 1;
    if (!isCertain) {
        // Which page is whose isn't known; asking again at once would not tell either.
        if (!matches.empty() && noneIsPrivate(window, process->second)) life.sawControls(std::nullopt, false);
        return;
    }
    const InspectedWindow& match = *matches.front();
    life.sawTitle(match.title);
    const double begin = m_clock.uptime();
    const BrowserFacts found = read(match.element, true);
    life.sawControls(match.element, markerOf(found));
    life.sawAttempt(window.title, now); // a title that begs the question has been answered
    // Under another title it may be another tab's address.
    if (match.title == window.title) life.sawAddress(window.title, found.url, begin, m_clock.uptime());
}

BrowserFacts BrowserPrivacy::read(const AccessibleElement& element, bool deep) {
    const std::int64_t began = CaptureDiagnostics::threadNanoseconds();
    BrowserFacts found = m_inspector.browserFacts(element, deep);
    CaptureDiagnostics::addURLRead(CaptureDiagnostics::threadNanoseconds() - began);
    return found;
}

// Windows of one title at one place can't be told apart. If accessibility knows all of them and none is private, it
// doesn't matter which is which.
bool BrowserPrivacy::noneIsPrivate(const ScreenWindow& window, const std::vector<InspectedWindow>& inspected) {
    std::set<std::uint32_t> places{window.id};
    for (const InspectedWindow& each : inspected)
        if (contains(each.numbers, window.id)) places.insert(each.numbers.begin(), each.numbers.end());
    std::size_t known = 0;
    for (const InspectedWindow& each : inspected) {
        const bool isOneOfThem =
            std::ranges::any_of(each.numbers, [&](auto number) { return places.contains(number); });
        if (!isOneOfThem) continue;
        const BrowserFacts facts = read(each.element, true);
        if (!facts.markerKnown || facts.privateMarker) return false;
        ++known;
    }
    return known >= places.size();
}

void BrowserPrivacy::observeTitle(ProcessID pid, const WindowSnapshot& window, const WindowList& windows) {
    if (const auto found = m_inspector.find(pid, window, windows))
        m_registry.enter(screenWindow(*found), m_clock.uptime()).sawTitle(window.title);
}

BrowserPrivacy::Front BrowserPrivacy::front(ProcessID pid, const WindowSnapshot& window, const WindowList& windows,
                                            bool isAlwaysPrivate, const RecorderConfig& config) {
    Front front;
    WindowLife unknown; // of a window that can't be told from others: it is forgotten again
    WindowLife* life = &unknown;
    if (const auto found = m_inspector.find(pid, window, windows)) {
        front.window = WindowKey{found->number, found->pid, found->life};
        life = &m_registry.enter(screenWindow(*found), m_clock.uptime());
    }
    life->sawTitle(window.title);
    if (isAlwaysPrivate) life->sawAlwaysPrivate();
    const bool isPrivate = config.skipPrivateWindows && (isAlwaysPrivate || life->privateMarker().value_or(false));
    // Without an element there is nothing to ask, and what is known of any window counts for nothing.
    if (!window.element || isPrivate) {
        if (isPrivate)
            front.verdict = life->verdict(window.title, config);
        else
            front.verdict = WindowLife().verdict(window.title, config);
        return front;
    }
    const bool isProved = life->privateMarker() && life->element() == window.element;
    front.url = life->recentAddress(window.title, m_clock.uptime());
    if (!isProved || !front.url || !config.excludedSites.empty()) {
        const double begin = m_clock.uptime();
        const BrowserFacts facts = read(*window.element, !isProved);
        front.url = facts.url;
        // Windows may have changed places meanwhile.
        const auto after = front.window ? m_inspector.find(pid, window, m_inspector.onScreen()) : std::nullopt;
        if (!after || WindowKey{after->number, after->pid, after->life} != front.window) {
            front.window.reset();
            unknown = WindowLife();
            life = &unknown;
            life->sawTitle(window.title);
        }
        if (!isProved)
            life->sawControls(window.element, markerOf(facts));
        else if (life == &unknown)
            life->sawControls(window.element, markerOf(read(*window.element, true)));
        life->sawAttempt(window.title, begin);
        life->sawAddress(window.title, facts.url, begin, m_clock.uptime());
    }
    front.verdict = life->verdict(window.title, config);
    return front;
}

std::optional<std::string> BrowserPrivacy::readAgain(const Front& front, const WindowSnapshot& window) {
    if (!window.element) return std::nullopt;
    const double begin = m_clock.uptime();
    const BrowserFacts facts = read(*window.element, false);
    WindowLife* const life = front.window ? m_registry.find(*front.window) : nullptr;
    if (life != nullptr && life->element() == window.element)
        life->sawAddress(window.title, facts.url, begin, m_clock.uptime());
    return facts.url;
}

std::vector<HiddenWindow> BrowserPrivacy::hiddenWindows(const RecorderConfig& config) {
    endDestroyed();
    return m_registry.hidden(config);
}

} // namespace nomara
