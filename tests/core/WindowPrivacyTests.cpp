#include "core/privacy/WindowPrivacy.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

namespace nomara {
namespace {

using namespace WindowPrivacy;
using Windows = std::vector<ScreenWindow>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
const Rect screen{100, 0, 200, 100};

TEST(WindowPrivacy, GradesAWindow) {
    using Sites = std::vector<std::string>;
    using Text = std::optional<std::string_view>;
    const Sites bank{"bank.com"};
    const Text no;
    const struct {
        const char* name;
        Text title, url;
        Sites sites;
        Verdict expected;
        std::optional<bool> marker;
        bool skip;
    } rows[] = {
        {"nothing asked for", "News (Incognito)", no, {}, Verdict::allow, true, false},
        {"nothing asked for, nothing known", no, no, {}, Verdict::allow, {}, false},
        {"a private marker", "News", "https://a.com", {}, Verdict::privateWindow, true, true},
        {"a marker outranks a site", "News", "https://bank.com", bank, Verdict::privateWindow, true, true},
        {"a private title outranks a marker", "News (Incognito)", no, {}, Verdict::privateWindow, false, true},
        {"a site outranks not knowing", "News", "https://bank.com", bank, Verdict::excludedSite, {}, true},
        {"a private title, but it isn't asked for", "x (private)", "https://bank.com", bank, Verdict::excludedSite,
         true, false},
        {"no marker known", "News", "https://a.com", {}, Verdict::unknown, {}, true},
        {"proven harmless", "News", no, {}, Verdict::allow, false, true},
        {"sites, but no address", "News", no, bank, Verdict::unknown, false, true},
        {"sites and another address", "News", "https://a.com", bank, Verdict::allow, false, true},
        {"an empty address is one", "News", "", bank, Verdict::allow, false, true},
        {"a site list of blanks still wants an address", "News", no, {" "}, Verdict::unknown, false, true},
        {"sites alone need no marker", no, "https://a.com", bank, Verdict::allow, {}, false},
        {"sites alone, no address", no, no, bank, Verdict::unknown, {}, false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(verdict(row.title, row.url, row.marker, row.skip, row.sites), row.expected) << row.name;
}

TEST(WindowPrivacy, LetsPopupsInherit) {
    const Rect outer{0, 0, 100, 100}, inner{0, 50, 100, 50};
    const auto popup = [&](std::uint32_t id, std::uint32_t parent, std::int32_t pid = 7) {
        return ScreenWindow{id, pid, inner, {}, true, parent};
    };
    const struct {
        const char* name;
        Windows windows;
        Verdicts known;
        Verdict expected; // of window 1
        ProcessVerdicts elsewhere = {};
    } rows[] = {
        {"its own grade", {popup(1, 2), {2, 7, outer}}, {{1, Verdict::allow}, {2, Verdict::unknown}}, Verdict::allow},
        {"a menu of an allowed window, beside a private one",
         {popup(1, 2), {2, 7, {500, 0, 9, 9}}, {3, 7, outer}},
         {{2, Verdict::allow}, {3, Verdict::privateWindow}},
         Verdict::allow},
        {"a menu of a private window over an allowed one",
         {popup(1, 3), {2, 7, outer}, {3, 7, {500, 0, 9, 9}}},
         {{2, Verdict::allow}, {3, Verdict::privateWindow}},
         Verdict::privateWindow},
        {"a menu of a menu",
         {popup(1, 4), popup(4, 3), {2, 7, outer}, {3, 7, outer}},
         {{2, Verdict::privateWindow}, {3, Verdict::allow}},
         Verdict::allow},
        {"a drag image over an allowed window",
         {popup(1, 0), {2, 7, outer}, {3, 7, {500, 0, 9, 9}}},
         {{2, Verdict::allow}, {3, Verdict::excludedSite}},
         Verdict::excludedSite},
        {"a drag image whose window isn't on the screen any more",
         {popup(1, 0), {2, 7, outer}},
         {{2, Verdict::allow}},
         Verdict::privateWindow,
         {{7, Verdict::privateWindow}}},
        {"a drag image of a process with nothing to hide",
         {popup(1, 0), {2, 7, outer}, {3, 8, outer}},
         {{2, Verdict::allow}, {3, Verdict::privateWindow}},
         Verdict::allow},
        {"a parent that isn't listed",
         {popup(1, 9), {2, 7, outer}, {3, 7, outer}},
         {{2, Verdict::allow}, {3, Verdict::unknown}},
         Verdict::unknown},
        {"a parent in another process",
         {popup(1, 2), {2, 8, outer}, {3, 7, outer}},
         {{2, Verdict::allow}, {3, Verdict::excludedSite}},
         Verdict::excludedSite},
        {"its own parent", {popup(1, 1), {2, 7, outer}}, {{2, Verdict::allow}}, Verdict::allow},
        {"parents in a circle",
         {popup(1, 4), popup(4, 1), {2, 7, outer}},
         {{2, Verdict::privateWindow}},
         Verdict::privateWindow},
        {"another process", {popup(1, 0), {2, 8, outer}}, {{2, Verdict::allow}}, Verdict::unknown},
        {"alone", {popup(1, 0)}, {}, Verdict::unknown},
        {"opened from two windows in two lists",
         {popup(1, 2), {2, 7, outer}, popup(1, 3), {3, 7, outer}},
         {{2, Verdict::allow}, {3, Verdict::privateWindow}},
         Verdict::privateWindow},
        {"the worst of all kinds",
         {popup(1, 0), {2, 7, outer}, {3, 7, outer}, {4, 7, outer}, {5, 7, outer}},
         {{2, Verdict::unknown}, {3, Verdict::excludedSite}, {4, Verdict::allow}, {5, Verdict::unconfirmed}},
         Verdict::excludedSite},
    };
    for (const auto& row : rows) {
        const Verdicts resolved = resolve(row.windows, row.known, row.elsewhere);
        for (const ScreenWindow& window : row.windows)
            EXPECT_TRUE(resolved.contains(window.id)) << row.name;
        EXPECT_EQ(resolved.at(1), row.expected) << row.name;
    }
    EXPECT_TRUE(resolve({}, {{1, Verdict::allow}}).empty());
}

TEST(WindowPrivacy, DecidesAboutAnImage) {
    using Previous = std::optional<Windows>;
    const Decision clean{true, {}}, skip{};
    const Rect left{120, 20, 40, 20}, right{200, 20, 50, 30}, off{400, 0, 50, 50}, over{80, -10, 40, 30};
    const ScreenWindow one{1, 7, left}, two{2, 7, right};
    const Windows none;
    const struct {
        const char* name;
        Previous previous;
        Windows latest;
        Rect display;
        Decision expected;
    } rows[] = {
        {"no windows, no list before", {}, none, screen, clean},
        {"no windows", none, none, screen, clean},
        {"on another display", Windows{{1, 7, off}}, {{1, 7, off}}, screen, clean},
        {"on another display, no list before", {}, {{1, 7, off}}, screen, clean},
        {"beside the display, edges touching", {}, {{1, 7, {300, 0, 10, 10}}}, screen, clean},
        {"no list before", {}, {one}, screen, skip},
        {"gone", Windows{one}, none, screen, skip},
        {"new", none, {one}, screen, skip},
        {"moved away from the display", Windows{one}, {{1, 7, off}}, screen, skip},
        {"moved onto the display", Windows{{1, 7, off}}, {one}, screen, skip},
        {"a point larger", Windows{one}, {{1, 7, {120, 20, 41, 20}}}, screen, skip},
        {"standing still", Windows{one}, {one}, screen, {true, {{0.09, 0.18, 0.22, 0.24}}}},
        {"standing still under another title",
         Windows{one},
         {{1, 7, left, "New"}},
         screen,
         {true, {{0.09, 0.18, 0.22, 0.24}}}},
        {"one stands, another moves", Windows{one, two}, {one, {2, 7, {201, 20, 50, 30}}}, screen, skip},
        {"over the edge", Windows{{1, 7, over}}, {{1, 7, over}}, screen, {true, {{0, 0, 0.11, 0.22}}}},
        {"left to right in a row",
         Windows{one, two},
         {two, one},
         screen,
         {true, {{0.09, 0.18, 0.22, 0.24}, {0.49, 0.18, 0.27, 0.34}}}},
        {"another window with its number, at its place", Windows{one}, {{1, 7, left, {}, false, 0, 5}}, screen, skip},
        {"allowed ones may move",
         Windows{one, {9, 7, left}},
         {one, {9, 7, right}},
         screen,
         {true, {{0.09, 0.18, 0.22, 0.24}}}},
        {"one window in two places", Windows{one, {1, 7, right}}, {one, {1, 7, right}}, screen, skip},
        {"one window listed twice", Windows{one}, {one, one}, screen, {true, {{0.09, 0.18, 0.22, 0.24}}}},
        {"no place known", Windows{{1, 7, {nan, 0, 10, 10}}}, {{1, 7, {nan, 0, 10, 10}}}, screen, skip},
        {"a width that isn't a number", Windows{{1, 7, {0, 0, nan, 10}}}, {{1, 7, {0, 0, nan, 10}}}, screen, skip},
        {"without end", Windows{{1, 7, {0, 0, infinity, 10}}}, {{1, 7, {0, 0, infinity, 10}}}, screen, skip},
        {"a display of no width", Windows{one}, {one}, {130, 0, 0, 100}, skip},
        {"a display of no height elsewhere", Windows{one}, {one}, {900, 900, 100, 0}, skip},
        {"a display that is nowhere", Windows{one}, {one}, {nan, 0, 100, 100}, skip},
        {"nothing on a display of no size", none, none, {0, 0, 0, 0}, clean},
    };
    const Verdicts verdicts{{2, Verdict::privateWindow}, {9, Verdict::allow}}; // the first has none
    for (const auto& row : rows) {
        const Decision decision = decide(row.previous, row.latest, verdicts, row.display, 2);
        EXPECT_EQ(decision.capture, row.expected.capture) << row.name;
        ASSERT_EQ(decision.masks.size(), row.expected.masks.size()) << row.name;
        for (std::size_t i = 0; i < decision.masks.size(); ++i) {
            const Rect &mask = decision.masks[i], &expected = row.expected.masks[i];
            EXPECT_NEAR(mask.x, expected.x, 1e-12) << row.name;
            EXPECT_NEAR(mask.y, expected.y, 1e-12) << row.name;
            EXPECT_NEAR(mask.width, expected.width, 1e-12) << row.name;
            EXPECT_NEAR(mask.height, expected.height, 1e-12) << row.name;
        }
    }
    EXPECT_FALSE(decide(Windows{one}, {one}, {}, screen, nan).capture) << "a margin that isn't a number";
}

TEST(WindowPrivacy, OfAnImageMadeOfWindowsMasksWhatShowsOfThoseThatAreNotAllowed) {
    const Rect part{10, 20, 30, 40}, other{100, 0, 50, 100};
    const ImageLayer browser{{5, 1}, 7, {part, other}}, menu{{6}, 7, {part}}, editor{{8}, 3, {other}},
        remote{{4}, 0, {part}};
    const ScreenWindow blocked{1, 7, {0, 0, 10, 10}}, allowed{9, 7, {0, 0, 10, 10}}, listedMenu{6, 7, {}};
    const Rect first{0.05, 0.2, 0.15, 0.4}, second{0.5, 0, 0.25, 1};
    const struct {
        const char* name;
        std::vector<ImageLayer> layers;
        Windows latest;
        std::vector<Rect> masks;
    } rows[] = {
        {"nothing is shown", {}, {blocked}, {}},
        {"no browser", {editor}, {}, {}},
        {"blocked: all that shows of it, top to bottom", {editor, browser}, {blocked}, {second, first}},
        {"allowed, by the number of its frame", {{{5, 9}, 7, {part}}}, {allowed}, {}},
        {"not listed, though its program is", {menu}, {allowed}, {first}},
        {"its menu has no verdict", {menu}, {allowed, listedMenu}, {first}},
        {"two windows in one frame, one of them blocked", {{{5, 9, 1}, 7, {part}}}, {allowed, blocked}, {first}},
        {"no process is known of either", {remote, editor}, {{2, 0, {}}}, {first}},
    };
    const Verdicts verdicts{{1, Verdict::privateWindow}, {9, Verdict::allow}};
    for (const auto& row : rows) {
        const Decision decision = decideByLayers(row.layers, row.latest, verdicts, 200, 100);
        EXPECT_TRUE(decision.capture) << row.name;
        EXPECT_EQ(decision.masks, row.masks) << row.name;
    }
    EXPECT_FALSE(decideByLayers({editor}, {}, {}, 0, 100).capture) << "an image without pixels";
}

constexpr int padding = 2;

class RandomDesktop {
public:
    explicit RandomDesktop(unsigned seed) : m_random(seed) {}

    int below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }

    /// Whole numbers, so that every unit cell is wholly inside a rectangle or wholly outside.
    Rect frame() {
        return {double(below(36) - 8), double(below(28) - 6), double(1 + below(16)), double(1 + below(12))};
    }

    Windows list() {
        Windows windows;
        for (int n = below(6); n > 0; --n) {
            windows.push_back({static_cast<std::uint32_t>(below(6)), below(3), frame(), std::nullopt, below(4) == 0});
            // A sheet inside, a second entry of the same window.
            const ScreenWindow last = windows.back();
            if (below(4) == 0) windows.push_back({last.id + 10, last.pid, last.frame});
            if (below(8) == 0) windows.push_back({last.id, last.pid, below(2) == 0 ? frame() : last.frame});
        }
        return windows;
    }

    /// What the same desktop may look like at another moment.
    Windows changed(Windows windows) {
        std::shuffle(windows.begin(), windows.end(), m_random);
        if (below(2) == 0) return windows;
        for (int n = below(3); n > 0 && !windows.empty(); --n) {
            const auto index = static_cast<std::size_t>(below(static_cast<int>(windows.size())));
            ScreenWindow& window = windows[index];
            switch (below(4)) {
            case 0:
                window.frame.x += 1;
                break;
            case 1:
                window.frame = frame();
                break;
            case 2:
                windows.erase(windows.begin() + static_cast<std::ptrdiff_t>(index));
                break;
            default:
                windows.push_back({static_cast<std::uint32_t>(below(6)), below(3), frame()});
            }
        }
        return windows;
    }

    Verdicts grades() {
        Verdicts grades;
        for (std::uint32_t id = 0; id < 16; ++id)
            if (below(3) != 0) grades[id] = below(3) == 0 ? static_cast<Verdict>(1 + below(3)) : Verdict::allow;
        return grades;
    }

private:
    std::mt19937 m_random;
};

bool isOnCell(const Rect& frame, int x, int y, int margin) {
    return x >= frame.x - margin && x + 1 <= frame.x + frame.width + margin && y >= frame.y - margin &&
           y + 1 <= frame.y + frame.height + margin;
}

/// Looks at a display as an eye would: cell by cell, window by window.
struct Eye {
    const Verdicts& grades;
    const Rect& display;

    bool mayShow(const ScreenWindow& window) const {
        const auto grade = grades.find(window.id);
        return grade != grades.end() && grade->second == Verdict::allow;
    }

    template <typename Visit>
    void eachCell(const Visit& visit) const {
        for (int y = int(display.y); y < int(display.y + display.height); ++y)
            for (int x = int(display.x); x < int(display.x + display.width); ++x)
                visit(x, y);
    }

    bool sees(const ScreenWindow& window) const {
        bool seen = false;
        eachCell([&](int x, int y) { seen = seen || isOnCell(window.frame, x, y, 0); });
        return seen;
    }

    /// A forbidden window that can be seen in one list and isn't at the same place, and there only, in both.
    bool somethingMoved(const Windows& previous, const Windows& latest) const {
        const auto restless = [&](const Windows& here, const Windows& there) {
            return std::any_of(here.begin(), here.end(), [&](const ScreenWindow& window) {
                const auto is = [&](const ScreenWindow& other) { return other.id == window.id; };
                const auto strays = [&](const ScreenWindow& other) {
                    return is(other) && !(other.frame == window.frame);
                };
                return !mayShow(window) && sees(window) &&
                       (std::none_of(there.begin(), there.end(), is) ||
                        std::any_of(there.begin(), there.end(), strays) ||
                        std::any_of(here.begin(), here.end(), strays));
            });
        };
        return restless(previous, latest) || restless(latest, previous);
    }

    bool seesForbidden(const Windows& windows) const {
        return std::any_of(windows.begin(), windows.end(),
                           [&](const ScreenWindow& window) { return !mayShow(window) && sees(window); });
    }

    bool isHidden(const Decision& decision, int x, int y) const {
        return std::any_of(decision.masks.begin(), decision.masks.end(), [&](const Rect& mask) {
            constexpr double rounding = 1e-9;
            const double left = display.x + mask.x * display.width, top = display.y + mask.y * display.height;
            return x >= left - rounding && y >= top - rounding &&
                   x + 1 <= left + mask.width * display.width + rounding &&
                   y + 1 <= top + mask.height * display.height + rounding;
        });
    }
};

TEST(WindowPrivacy, NoOrderOfEventsLetsABlockedWindowThrough) {
    RandomDesktop desktop(20'240'229);
    int skipped = 0, masked = 0, clean = 0;
    for (int round = 0; round < 5'000; ++round) {
        const Windows before = desktop.list();
        const Windows latest = desktop.changed(before);
        std::optional<Windows> previous = before;
        if (desktop.below(8) == 0) previous.reset();
        Verdicts grades = desktop.grades();
        if (desktop.below(2) == 0) {
            Windows all = latest;
            all.insert(all.end(), before.begin(), before.end());
            grades = resolve(all, grades);
        }
        const Rect display = desktop.below(2) == 0 ? Rect{0, 0, 20, 16} : Rect{14, -4, 12, 20}; // they overlap
        const Decision decision = decide(previous, latest, grades, display, padding);

        const Eye eye{grades, display};
        const bool forbidden = eye.seesForbidden(latest) || (previous && eye.seesForbidden(*previous));
        const bool mustSkip = forbidden && (!previous || eye.somethingMoved(*previous, latest));
        ASSERT_EQ(decision.capture, !mustSkip) << "round " << round;
        if (!decision.capture) {
            EXPECT_TRUE(decision.masks.empty());
            ++skipped;
            continue;
        }
        ++(decision.masks.empty() ? clean : masked);
        eye.eachCell([&](int x, int y) {
            const bool secret = std::any_of(latest.begin(), latest.end(), [&](const ScreenWindow& window) {
                return !eye.mayShow(window) && eye.sees(window) && isOnCell(window.frame, x, y, padding);
            });
            ASSERT_EQ(eye.isHidden(decision, x, y), secret) << "round " << round << ", cell " << x << ", " << y;
        });
        for (const Rect& mask : decision.masks)
            EXPECT_TRUE((Rect{0, 0, 1 + 1e-12, 1 + 1e-12}.contains(mask))) << "round " << round;
    }
    EXPECT_GT(std::min({skipped, masked, clean}), 400) << "every answer is met often";
}

// Whatever the lists say, a window counts as allowed only by its own grade, by that of a parent, or where nothing of
// its process is worse.
TEST(WindowPrivacy, NoGradeComesFromNowhere) {
    RandomDesktop desktop(7);
    int inherited = 0;
    for (int round = 0; round < 5'000; ++round) {
        Windows windows = desktop.list();
        const Windows later = desktop.changed(windows);
        windows.insert(windows.end(), later.begin(), later.end());
        for (ScreenWindow& window : windows)
            if (desktop.below(2) == 0) window.parent = static_cast<std::uint32_t>(desktop.below(16));
        const Verdicts known = desktop.grades();
        const auto isKnown = [&](std::uint32_t id, bool isAllowed) {
            const auto entry = known.find(id);
            return entry != known.end() && (entry->second == Verdict::allow) == isAllowed;
        };
        for (const auto& [id, grade] : resolve(windows, known)) {
            if (const auto own = known.find(id); own != known.end()) {
                EXPECT_EQ(grade, own->second);
                continue;
            }
            if (grade != Verdict::allow) continue;
            ++inherited;
            for (const ScreenWindow& window : windows) {
                if (window.id != id) continue;
                const auto isOfItsProcess = [&](const ScreenWindow& other) { return other.pid == window.pid; };
                const bool hasParent = std::ranges::any_of(windows, [&](const ScreenWindow& other) {
                    return isOfItsProcess(other) && other.id == window.parent && other.id != id;
                });
                EXPECT_TRUE(std::ranges::any_of(
                    windows,
                    [&](const ScreenWindow& other) { return isOfItsProcess(other) && isKnown(other.id, true); }))
                    << "round " << round;
                EXPECT_TRUE(hasParent || std::ranges::none_of(windows,
                                                              [&](const ScreenWindow& other) {
                                                                  return isOfItsProcess(other) &&
                                                                         isKnown(other.id, false);
                                                              }))
                    << "round " << round;
            }
        }
    }
    EXPECT_GT(inherited, 400);
}

} // namespace
} // namespace nomara
