#include "Quillshade/windows/BrowserPrivacy.h"

#include "Quillshade/windows/CaptureDiagnostics.h"
#include "Quillshade/windows/WindowMatcher.h"
#include "core/privacy/AppCatalog.h"

#include <algorithm>
#include <set>
#include <utility>

namespace nomara {

namespace {

using WindowPrivacy::Verdict;

constexpr double askUnknownAgainSeconds = 30; // a marker that could not be told
constexpr double addressSeconds = 60;         // how long a title's address counts as known
constexpr double forgetSeconds = 600;         // a window that isn't seen any more
constexpr std::size_t manyAddresses = 20, manyFacts = 40, maxOwners = 500;

void putAddress(BrowserPrivacy::Facts& facts, const std::optional<std::string>& title,
                const std::optional<std::string>& url, double now) {
    facts.urls[title] = {url, now};
    if (facts.urls.size() > manyAddresses)
        std::erase_if(facts.urls, [now](const auto& entry) { return now - entry.second.askedAt >= addressSeconds; });
}

// Once private, always private.
void mergeMarker(BrowserPrivacy::Facts& facts, std::optional<bool> marker) {
    if (marker) facts.privateMarker = *marker || facts.privateMarker.value_or(false);
}

const BrowserPrivacy::Address* recentAddress(const BrowserPrivacy::Facts& facts,
                                             const std::optional<std::string>& title, double now) {
    const auto found = facts.urls.find(title);
    return found != facts.urls.end() && now - found->second.askedAt < addressSeconds ? &found->second : nullptr;
}

bool contains(const std::vector<std::uint32_t>& numbers, std::uint32_t number) {
    return std::ranges::find(numbers, number) != numbers.end();
}

Verdict grade(const std::optional<std::string>& title, const std::optional<std::string>& url,
              std::optional<bool> marker, const RecorderConfig& config) {
    return WindowPrivacy::verdict(title, url, marker, config.skipPrivateWindows, config.excludedSites);
}

} // namespace

/// What lives for one call of `verdicts`.
struct BrowserPrivacy::Grading {
    const RecorderConfig& config;
    double now = 0;
    bool isTrusted = false;
    std::map<ProcessID, std::vector<InspectedWindow>> windows; ///< of the processes that were asked
};

BrowserPrivacy::BrowserPrivacy(WindowInspector& inspector, WindowServer& windowServer, IdentityResolver identify)
    : m_inspector(inspector), m_windowServer(windowServer), m_identify(std::move(identify)) {}

std::vector<ScreenWindow> BrowserPrivacy::visibleWindows() {
    const auto all = m_windowServer.onScreenWindows();
    // Menus don't tell what their program is, but its other windows do.
    std::set<ProcessID> browsers;
    for (const WindowInfo& window : all)
        if (ownerOf(window).isBrowser) browsers.insert(window.pid);
    std::vector<ScreenWindow> windows;
    for (const WindowInfo& window : all) {
        if (!window.bounds || window.opacity <= 0) continue;
        const bool isBrowser = window.pid == 0 ? ownerOf(window).isBrowser : browsers.contains(window.pid);
        if (isBrowser) windows.push_back({window.number, window.pid, *window.bounds, window.title, window.layer != 0});
    }
    return windows;
}

// A number of a process is given out again, but hardly to a program that calls itself the same.
BrowserPrivacy::Owner BrowserPrivacy::ownerOf(const WindowInfo& window) {
    const std::lock_guard lock(m_ownersLock);
    const auto known = m_owners.find(window.pid);
    if (known != m_owners.end() && known->second.name == window.className &&
        (known->second.isBrowser || known->second.role == window.role))
        return known->second;
    ApplicationIdentity identity;
    if (m_identify) identity = m_identify(nomara::ownerOf(window));
    Owner owner{window.className, window.role, identity.isBrowser || AppCatalog::isBrowser(identity.bundleID),
                AppCatalog::isAlwaysPrivate(identity.bundleID)};
    // Without a class nothing tells a process from a later one of the same number.
    if (window.className.empty()) return owner;
    if (m_owners.size() > maxOwners) m_owners.clear();
    m_owners.insert_or_assign(window.pid, owner);
    return owner;
}

bool BrowserPrivacy::isAlwaysPrivate(ProcessID pid) {
    const std::lock_guard lock(m_ownersLock);
    const auto known = m_owners.find(pid);
    return known != m_owners.end() && known->second.isAlwaysPrivate;
}

WindowPrivacy::Verdicts BrowserPrivacy::verdicts(const std::vector<ScreenWindow>& latest,
                                                 const std::optional<std::vector<ScreenWindow>>& previous,
                                                 const RecorderConfig& config, double now) {
    forgetOldFacts(now);
    std::vector<ScreenWindow> all = latest;
    if (previous) all.insert(all.end(), previous->begin(), previous->end());
    if (all.empty()) return {};

    Grading grading{config, now, m_inspector.isTrusted(), {}};
    WindowPrivacy::Verdicts known;
    for (const ScreenWindow& window : all) {
        const bool mayAsk = std::ranges::find(latest, window) != latest.end();
        const auto verdict = verdictOf(window, mayAsk, grading);
        if (!verdict) continue;
        // A bad grade is never replaced by a good one.
        const auto [entry, isNew] = known.try_emplace(window.id, *verdict);
        if (!isNew && entry->second == Verdict::allow) entry->second = *verdict;
    }
    return WindowPrivacy::resolve(all, known);
}

std::optional<Verdict> BrowserPrivacy::verdictOf(const ScreenWindow& window, bool mayAsk, Grading& grading) {
    if (grading.config.skipPrivateWindows && isAlwaysPrivate(window.pid)) return Verdict::privateWindow;
    if (shouldAsk(window, mayAsk, grading) && grading.isTrusted) ask(window, grading);
    const auto found = m_facts.find(window.id);
    if (found == m_facts.end()) return grade(window.title, std::nullopt, std::nullopt, grading.config);
    Facts& facts = found->second;
    facts.lastSeen = grading.now;
    // Menus and tips aren't windows of their own on the accessibility bus: what lies around them decides. An ordinary
    // window that can't be found there is suspect wherever it lies.
    if (facts.unmatched && !facts.privateMarker && window.isPopup) return std::nullopt;
    const Address* address = recentAddress(facts, window.title, grading.now);
    return grade(window.title, address ? address->url : std::nullopt, facts.privateMarker, grading.config);
}

bool BrowserPrivacy::shouldAsk(const ScreenWindow& window, bool mayAsk, const Grading& grading) const {
    if (!mayAsk) return false;
    const auto found = m_facts.find(window.id);
    if (found == m_facts.end()) return true;
    const Facts& facts = found->second;
    if (!facts.privateMarker) return grading.now - facts.lastAttempt >= askUnknownAgainSeconds;
    if (grading.config.excludedSites.empty()) return false;
    return recentAddress(facts, window.title, grading.now) == nullptr;
}

void BrowserPrivacy::ask(const ScreenWindow& window, Grading& grading) {
    auto process = grading.windows.find(window.pid);
    if (process == grading.windows.end())
        process = grading.windows.emplace(window.pid, m_inspector.windows(window.pid)).first;
    Facts& facts = m_facts[window.id];
    facts.lastAttempt = facts.lastSeen = grading.now;
    std::vector<const InspectedWindow*> matches;
    for (const InspectedWindow& candidate : process->second)
        if (contains(candidate.numbers, window.id) && candidate.frame &&
            WindowMatcher::isNear(*candidate.frame, window.frame))
            matches.push_back(&candidate);
    const bool isCertain = matches.size() == 1 && matches.front()->numbers.size() == 1;
    facts.unmatched = !isCertain && (matches.empty() || !noneIsPrivate(window, process->second));
    if (facts.unmatched) return;
    if (!isCertain) {
        // Which page is whose isn't known; asking again at once would not tell either.
        putAddress(facts, window.title, std::nullopt, grading.now);
        return mergeMarker(facts, false);
    }

    const InspectedWindow& match = *matches.front();
    const BrowserFacts found = read(match.element);
    facts.element = match.element;
    // Under another title it may be another tab's address.
    if (match.title == window.title) putAddress(facts, window.title, found.url, grading.now);
    mergeMarker(facts, found.markerKnown ? std::optional(found.privateMarker) : std::nullopt);
}

BrowserFacts BrowserPrivacy::read(const AccessibleElement& element) {
    const std::int64_t began = CaptureDiagnostics::threadNanoseconds();
    BrowserFacts found = m_inspector.browserFacts(element, true);
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
        const BrowserFacts facts = read(each.element);
        if (!facts.markerKnown || facts.privateMarker) return false;
        ++known;
    }
    return known >= places.size();
}

void BrowserPrivacy::forgetOldFacts(double now) {
    if (m_facts.size() > manyFacts)
        std::erase_if(m_facts, [now](const auto& entry) { return now - entry.second.lastSeen >= forgetSeconds; });
}

std::optional<BrowserPrivacy::Known> BrowserPrivacy::known(std::uint32_t windowID, const AccessibleElement& element,
                                                           const std::optional<std::string>& title, double now) const {
    const auto found = m_facts.find(windowID);
    if (found == m_facts.end() || !found->second.privateMarker || found->second.element != element) return std::nullopt;
    const Address* address = recentAddress(found->second, title, now);
    if (address == nullptr || !address->url) return std::nullopt;
    return Known{*address->url, *found->second.privateMarker};
}

void BrowserPrivacy::record(const std::optional<std::string>& url, std::optional<bool> privateMarker,
                            std::uint32_t windowID, const AccessibleElement& element,
                            const std::optional<std::string>& title, double now) {
    forgetOldFacts(now);
    Facts& facts = m_facts[windowID];
    mergeMarker(facts, privateMarker);
    if (title) putAddress(facts, title, url, now);
    facts.unmatched = false;
    facts.element = element;
    facts.lastAttempt = facts.lastSeen = now;
}

} // namespace nomara
