#include "core/privacy/WindowPrivacy.h"

#include "core/privacy/PrivacyRules.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace nomara::WindowPrivacy {

namespace {

using Windows = std::vector<ScreenWindow>;

struct Edges {
    double left, top, right, bottom;

    explicit Edges(const Rect& rect)
        : left(std::min(rect.x, rect.x + rect.width)), top(std::min(rect.y, rect.y + rect.height)),
          right(std::max(rect.x, rect.x + rect.width)), bottom(std::max(rect.y, rect.y + rect.height)) {}

    bool areFinite() const {
        return std::isfinite(left) && std::isfinite(top) && std::isfinite(right) && std::isfinite(bottom);
    }
};

bool isFinite(const Rect& rect) {
    return std::isfinite(rect.x + rect.y + rect.width + rect.height);
}

bool hasSize(const Rect& display) {
    return isFinite(display) && display.width > 0 && display.height > 0;
}

/// Whether a window can be seen on the display. One whose place isn't a number reaches everywhere, and so does any
/// window where the display has no size: nothing can be said about what its image shows.
bool reaches(const Rect& frame, const Rect& display) {
    if (!hasSize(display) || !isFinite(frame)) return true;
    const Edges window(frame), screen(display);
    return !(window.right <= screen.left || window.left >= screen.right || window.bottom <= screen.top ||
             window.top >= screen.bottom);
}

bool isAllowed(const Verdicts& verdicts, std::uint32_t id) {
    const auto entry = verdicts.find(id);
    return entry != verdicts.end() && entry->second == Verdict::allow;
}

std::map<std::uint32_t, Rect> blocked(const Windows& windows, const Verdicts& verdicts, const Rect& display) {
    std::map<std::uint32_t, Rect> frames;
    for (const ScreenWindow& window : windows)
        if (!isAllowed(verdicts, window.id) && reaches(window.frame, display)) frames[window.id] = window.frame;
    return frames;
}

/// Where a window stands, if the list has it and knows one place for it only.
std::optional<Rect> placeOf(std::uint32_t id, const Windows& windows) {
    std::optional<Rect> place;
    for (const ScreenWindow& window : windows) {
        if (window.id != id) continue;
        if (place && *place != window.frame) return std::nullopt;
        place = window.frame;
    }
    return place;
}

bool standsStill(std::uint32_t id, const Windows& previous, const Windows& latest) {
    const std::optional<Rect> before = placeOf(id, previous), after = placeOf(id, latest);
    return before && after && *before == *after;
}

/// The part of a grown frame that lies on the display, as fractions of the display's size.
std::optional<Rect> mask(const Edges& grown, const Rect& display) {
    const Edges screen(display);
    const double left = std::max(grown.left, screen.left), top = std::max(grown.top, screen.top);
    const double width = std::min(grown.right, screen.right) - left;
    const double height = std::min(grown.bottom, screen.bottom) - top;
    if (!(width > 0 && height > 0)) return std::nullopt;
    return Rect{(left - screen.left) / display.width, (top - screen.top) / display.height, width / display.width,
                height / display.height};
}

} // namespace

// The order counts: a private marker outranks a site, and a site outranks not knowing.
Verdict verdict(std::optional<std::string_view> title, std::optional<std::string_view> url,
                std::optional<bool> privateMarker, bool skipPrivateWindows,
                const std::vector<std::string>& excludedSites) {
    if (skipPrivateWindows && (privateMarker.value_or(false) || PrivacyRules::isPrivateTitle(title)))
        return Verdict::privateWindow;
    if (PrivacyRules::isExcludedSite(url, excludedSites)) return Verdict::excludedSite;
    if (skipPrivateWindows && !privateMarker) return Verdict::unknown;
    if (!url && !excludedSites.empty()) return Verdict::unknown;
    return Verdict::allow;
}

Verdicts resolve(const std::vector<ScreenWindow>& windows, const Verdicts& verdicts) {
    const auto graded = [&](const ScreenWindow& window) {
        if (const auto own = verdicts.find(window.id); own != verdicts.end()) return own->second;
        for (const ScreenWindow& other : windows) {
            if (other.id == window.id || other.pid != window.pid || !other.frame.contains(window.frame)) continue;
            if (const auto around = verdicts.find(other.id); around != verdicts.end()) return around->second;
        }
        return Verdict::unknown;
    };
    Verdicts resolved;
    for (const ScreenWindow& window : windows) {
        const Verdict grade = graded(window);
        const auto [entry, isNew] = resolved.emplace(window.id, grade);
        if (!isNew && entry->second == Verdict::allow) entry->second = grade;
    }
    return resolved;
}

Decision decide(const std::optional<std::vector<ScreenWindow>>& previous, const std::vector<ScreenWindow>& latest,
                const Verdicts& verdicts, const Rect& display, double padding) {
    const auto now = blocked(latest, verdicts, display);
    const auto before = previous ? blocked(*previous, verdicts, display) : std::map<std::uint32_t, Rect>{};
    if (now.empty() && before.empty()) return {true, {}};
    // A blocked window is masked only when it has been seen standing still.
    if (!previous) return {};
    for (const auto& frames : {now, before})
        for (const auto& [id, frame] : frames)
            if (!standsStill(id, *previous, latest)) return {};
    if (!hasSize(display)) return {};

    Decision decision{true, {}};
    for (const auto& [id, frame] : now) {
        Edges grown(frame);
        grown.left -= padding;
        grown.top -= padding;
        grown.right += padding;
        grown.bottom += padding;
        if (!grown.areFinite()) return {};
        if (const auto hidden = mask(grown, display)) decision.masks.push_back(*hidden);
    }
    std::stable_sort(decision.masks.begin(), decision.masks.end(),
                     [](const Rect& a, const Rect& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; });
    return decision;
}

} // namespace nomara::WindowPrivacy
