#include "core/privacy/WindowPrivacy.h"

#include <algorithm>
#include <limits>
#include <map>
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
        {"a menu of a private window over an allowed one",
         {popup(1, 3), {2, 7, outer}, {3, 7, {500, 0, 9, 9}}},
         {{2, Verdict::allow}, {3, Verdict::privateWindow}},
         Verdict::privateWindow},
        {"a menu of a menu of an allowed window, beside a private one",
         {popup(1, 4), popup(4, 3), {2, 7, outer}, {3, 7, outer}},
         {{2, Verdict::privateWindow}, {3, Verdict::allow}},
         Verdict::allow},
        {"a drag image: the worst of its process counts, on the screen or not",
         {popup(1, 0), {2, 7, outer}, {3, 8, outer}},
         {{2, Verdict::unknown}, {3, Verdict::privateWindow}},
         Verdict::excludedSite,
         {{7, Verdict::excludedSite}}},
        {"a drag image over a window that is worse",
         {popup(1, 0), {2, 7, outer}, {3, 7, outer}, {4, 7, outer}},
         {{2, Verdict::allow}, {3, Verdict::unknown}, {4, Verdict::unconfirmed}},
         Verdict::unknown},
        {"a parent in another process",
         {popup(1, 2), {2, 8, outer}, {3, 7, outer}},
         {{2, Verdict::allow}, {3, Verdict::excludedSite}},
         Verdict::excludedSite},
        {"parents in a circle, and nobody else", {popup(1, 4), popup(4, 1)}, {}, Verdict::unknown},
        {"opened from two windows in two lists",
         {popup(1, 2), {2, 7, outer}, popup(1, 3), {3, 7, outer}},
         {{2, Verdict::allow}, {3, Verdict::privateWindow}},
         Verdict::privateWindow},
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
        {"on another display, no list before", {}, {{1, 7, off}}, screen, clean},
        {"beside the display, edges touching", {}, {{1, 7, {300, 0, 10, 10}}}, screen, clean},
        {"no list before", {}, {one}, screen, skip},
        {"gone", Windows{one}, none, screen, skip},
        {"moved onto the display", Windows{{1, 7, off}}, {one}, screen, skip},
        {"a point larger", Windows{one}, {{1, 7, {120, 20, 41, 20}}}, screen, skip},
        {"under another title", Windows{one}, {{1, 7, left, "New"}}, screen, {true, {{0.09, 0.18, 0.22, 0.24}}}},
        {"over the edge", Windows{{1, 7, over}}, {{1, 7, over}}, screen, {true, {{0, 0, 0.11, 0.22}}}},
        {"left to right in a row",
         Windows{one, two},
         {two, one},
         screen,
         {true, {{0.09, 0.18, 0.22, 0.24}, {0.49, 0.18, 0.27, 0.34}}}},
        {"another window with its number, at its place", Windows{one}, {{1, 7, left, {}, false, 0, 5}}, screen, skip},
        {"allowed ones may move", Windows{{9, 7, left}}, {{9, 7, right}}, screen, clean},
        {"one window in two places", Windows{one, {1, 7, right}}, {one, {1, 7, right}}, screen, skip},
        {"no place known", Windows{{1, 7, {nan, 0, 10, 10}}}, {{1, 7, {nan, 0, 10, 10}}}, screen, skip},
        {"without end", Windows{{1, 7, {0, 0, infinity, 10}}}, {{1, 7, {0, 0, infinity, 10}}}, screen, skip},
        {"a display of no width", Windows{one}, {one}, {130, 0, 0, 100}, skip},
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

/// Whole numbers, so that every unit cell is wholly inside a rectangle or wholly outside.
struct RandomDesktop {
    std::mt19937 random{20'240'229};

    int below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }
    Rect frame() {
        return {double(below(36) - 8), double(below(28) - 6), double(1 + below(16)), double(1 + below(12))};
    }
    ScreenWindow window() { return {static_cast<std::uint32_t>(below(8)), below(3), frame()}; }
    Windows list() {
        Windows windows;
        for (int n = below(6); n > 0; --n)
            windows.push_back(window());
        return windows;
    }
    /// What the same desktop may look like at another moment.
    Windows changed(Windows windows) {
        std::shuffle(windows.begin(), windows.end(), random);
        for (int n = below(2) * below(3); n > 0; --n) {
            if (!windows.empty() && below(2) == 0) windows.back().frame.x += 1;
            if (!windows.empty() && below(3) == 0) windows.erase(windows.begin());
            if (below(3) == 0) windows.push_back(window());
        }
        return windows;
    }
};

// Whatever the lists say: of an image that is stored, each point that a window which isn't allowed had in either of
// them is hidden; an image is given up only where there is such a window, and not where nothing has changed.
TEST(WindowPrivacy, NoOrderOfEventsLetsABlockedWindowThrough) {
    RandomDesktop desktop;
    const Rect display{0, 0, 20, 16};
    int skipped = 0, masked = 0, clean = 0;
    for (int round = 0; round < 5'000; ++round) {
        const Windows before = desktop.list(), latest = desktop.changed(before);
        Verdicts grades;
        for (std::uint32_t id = 0; id < 8; ++id)
            if (desktop.below(3) != 0) grades[id] = desktop.below(3) == 0 ? Verdict::unconfirmed : Verdict::allow;
        const bool isFirst = desktop.below(8) == 0;
        const Decision decision = decide(isFirst ? std::optional<Windows>() : before, latest, grades, display, 0);
        bool isExposed = false, isForbidden = false, isAmbiguous = false;
        std::map<std::uint32_t, Rect> places;
        for (const Windows& list : {isFirst ? latest : before, latest})
            for (const ScreenWindow& window : list) {
                isAmbiguous |= places.emplace(window.id, window.frame).first->second != window.frame;
                const auto grade = grades.find(window.id);
                if (grade != grades.end() && grade->second == Verdict::allow) continue;
                for (int cell = 0; cell < 20 * 16; ++cell) {
                    const Rect here{double(cell % 20), double(cell / 20), 1, 1};
                    if (!here.intersects(window.frame)) continue;
                    isForbidden = true;
                    const Rect part{(here.x + 0.5) / 20, (here.y + 0.5) / 16, 1e-9, 1e-9};
                    isExposed |=
                        std::ranges::none_of(decision.masks, [&](const Rect& mask) { return mask.intersects(part); });
                }
            }
        ASSERT_FALSE(decision.capture && isExposed) << round;
        ASSERT_TRUE(decision.capture || isForbidden) << round;
        const bool isSame = std::is_permutation(before.begin(), before.end(), latest.begin(), latest.end());
        ASSERT_TRUE(decision.capture || isFirst || isAmbiguous || !isSame) << round;
        ASSERT_TRUE(isForbidden || decision.masks.empty()) << round;
        ++(!decision.capture ? skipped : decision.masks.empty() ? clean : masked);
    }
    EXPECT_GT(std::min({skipped, masked, clean}), 400) << "every answer is met often";
}

} // namespace
} // namespace nomara
