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

struct Place {
    Rect frame;
    std::uint64_t life = 0;
    friend bool operator==(const Place&, const Place&) = default;
};

/// Where a window stands, if the list has it and knows one place for it only.
std::optional<Place> placeOf(std::uint32_t id, const Windows& windows) {
    std::optional<Place> place;
    for (const ScreenWindow& window : windows) {
        if (window.id != id) continue;
        if (place && *place != Place{window.frame, window.life}) return std::nullopt;
        place = {window.frame, window.life};
    }
    return place;
}

// Another window with the number of one that has gone may have come up anywhere before it came here.
bool standsStill(std::uint32_t id, const Windows& previous, const Windows& latest) {
    const std::optional<Place> before = placeOf(id, previous), after = placeOf(id, latest);
    return before && after && *before == *after;
}

int severity(Verdict verdict) {
    switch (verdict) {
    case Verdict::allow:
        return 0;
    case Verdict::unconfirmed:
        return 1;
    case Verdict::unknown:
        return 2;
    case Verdict::excludedSite:
        return 3;
    case Verdict::privateWindow:
        break;
    }
    return 4;
}

/// Grades windows that have no grade of their own.
class Inheritance {
public:
    Inheritance(const Windows& windows, const Verdicts& verdicts, const ProcessVerdicts& elsewhere)
        : m_windows(windows), m_verdicts(verdicts), m_worst(elsewhere) {
        for (const ScreenWindow& window : windows) {
            const auto own = verdicts.find(window.id);
            if (own == verdicts.end()) continue;
            const auto [entry, isNew] = m_worst.emplace(window.pid, own->second);
            if (!isNew) entry->second = worse(entry->second, own->second);
        }
    }

    Verdict of(const ScreenWindow& window) const {
        const ScreenWindow* current = &window;
        // A program may call two windows each other's parents.
        for (std::size_t step = 0; step <= m_windows.size(); ++step) {
            if (const auto own = m_verdicts.find(current->id); own != m_verdicts.end()) return own->second;
            const auto parent = std::ranges::find_if(m_windows, [&](const ScreenWindow& other) {
                return other.id == current->parent && other.id != current->id && other.pid == window.pid;
            });
            if (current->parent == 0 || parent == m_windows.end()) break;
            current = &*parent;
        }
        const auto worst = m_worst.find(window.pid);
        return worst == m_worst.end() ? Verdict::unknown : worst->second;
    }

private:
    const Windows& m_windows;
    const Verdicts& m_verdicts;
    ProcessVerdicts m_worst;
};

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

void sortMasks(std::vector<Rect>& masks) {
    std::stable_sort(masks.begin(), masks.end(),
                     [](const Rect& a, const Rect& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; });
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

Verdict worse(Verdict one, Verdict other) {
    return severity(one) >= severity(other) ? one : other;
}

Verdicts resolve(const std::vector<ScreenWindow>& windows, const Verdicts& verdicts, const ProcessVerdicts& elsewhere) {
    const Inheritance inheritance(windows, verdicts, elsewhere);
    Verdicts resolved;
    for (const ScreenWindow& window : windows) {
        const Verdict grade = inheritance.of(window);
        const auto [entry, isNew] = resolved.emplace(window.id, grade);
        if (!isNew) entry->second = worse(entry->second, grade);
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
    sortMasks(decision.masks);
    return decision;
}

Decision decideByLayers(const std::vector<ImageLayer>& layers, const std::vector<ScreenWindow>& latest,
                        const Verdicts& verdicts, double width, double height) {
    if (!(width > 0 && height > 0)) return {};
    Decision decision{true, {}};
    for (const ImageLayer& layer : layers) {
        bool isListed = false, isBlocked = false, isOfBrowser = false;
        for (const ScreenWindow& window : latest) {
            isOfBrowser = isOfBrowser || window.pid == layer.pid;
            if (std::ranges::find(layer.windows, window.id) == layer.windows.end()) continue;
            isListed = true;
            isBlocked = isBlocked || !isAllowed(verdicts, window.id);
        }
        if (isListed ? !isBlocked : !isOfBrowser) continue;
        for (const Rect& part : layer.visible)
            decision.masks.push_back({part.x / width, part.y / height, part.width / width, part.height / height});
    }
    sortMasks(decision.masks);
    return decision;
}

} // namespace nomara::WindowPrivacy
