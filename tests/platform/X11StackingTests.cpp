#include "platform/linux/x11/X11Stacking.h"

#include <functional>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

namespace {

constexpr PixelBox screen{0, 0, 100, 100}, place{10, 10, 30, 30}, far{60, 60, 80, 80};
// The background's window, the excluded one, another one that covers half of it.
constexpr std::uint32_t ground = 1, secret = 2, cover = 3;

X11TopWindow shown(std::uint32_t id, const PixelBox& bounds, bool isExcluded = false) {
    return {id, bounds, true, true, isExcluded};
}

/// What is hidden a while later, when all copying has been told.
X11Region hiddenLater(X11Stacking& stacking, double now = 5) {
    return stacking.hidden(now);
}

X11Region regionOf(const std::vector<PixelBox>& boxes) {
    X11Region region;
    for (const PixelBox& box : boxes)
        region.add(box);
    return region;
}

} // namespace

TEST(X11Stacking, HidesWhatShowsOfAnExcludedWindowAndWhatItLeaves) {
    const PixelBox half{20, 10, 40, 30}; // the cover's place: the right half of the excluded window and some more
    using Steps = std::function<void(X11Stacking&)>;
    const struct {
        const char* what;
        Steps steps;
        std::vector<PixelBox> hidden;
    } rows[] = {
        {"another one comes above it, and hasn't painted",
         [&](X11Stacking& s) { s.add(shown(cover, half), 1); },
         {place}},
        {"the other one has painted",
         [&](X11Stacking& s) {
             s.add(shown(cover, half), 1);
             s.painted(cover, half);
         },
         {{10, 10, 20, 30}}},
        {"one sees through the other one",
         [&](X11Stacking& s) {
             X11TopWindow window = shown(cover, half);
             window.isOpaque = false;
             s.add(window, 1);
             s.painted(cover, half);
         },
         {place}},
        {"put away, and what lay below hangs", [](X11Stacking& s) { s.setShown(secret, false, 1); }, {place}},
        {"put away, and what lay below has painted a part",
         [](X11Stacking& s) {
             s.setShown(secret, false, 1);
             s.painted(ground, {0, 0, 20, 100});
         },
         {{20, 10, 30, 30}}},
        {"closed, with nothing below it but the background",
         [](X11Stacking& s) {
             s.remove(ground, 1);
             s.remove(secret, 1);
         },
         {}},
        {"moved, and its old place painted",
         [](X11Stacking& s) {
             s.configure(secret, far, ground, 1);
             s.painted(ground, place);
         },
         {far}},
        {"lowered, painted over, raised again",
         [](X11Stacking& s) {
             s.restack(secret, false, 1);
             s.painted(ground, screen);
             s.restack(secret, true, 2);
         },
         {place}},
        {"its remains move along with the window that they are on, and where that was",
         [](X11Stacking& s) {
             s.remove(secret, 1);
             s.configure(ground, screen.moved(5, 5), 0, 2);
         },
         {place, place.moved(5, 5)}},
        {"a resized window may have put its remains anywhere",
         [](X11Stacking& s) {
             s.remove(secret, 1);
             s.configure(ground, {0, 0, 50, 50}, 0, 2);
         },
         {{0, 0, 50, 50}}},
        {"another one turns out to be excluded",
         [](X11Stacking& s) {
             s.remove(secret, 1);
             s.painted(ground, screen);
             s.add(shown(cover, far), 2);
             s.setExcluded(cover, 3);
         },
         {far}},
        {"forgotten with the list of what is excluded",
         [](X11Stacking& s) {
             s.remove(secret, 1);
             s.forget();
         },
         {}},
    };
    for (const auto& [what, steps, hidden] : rows) {
        X11Stacking stacking;
        stacking.reset({shown(ground, screen), shown(secret, place, true)}, 0);
        steps(stacking);
        EXPECT_TRUE(coverTheSame(hiddenLater(stacking), regionOf(hidden))) << what;
    }
}

// Copying that is told as painting counts for nothing until the server must have told of all of it.
TEST(X11Stacking, RemainsUnderAMovedWindowOutlastThePaintingThatTheMoveSeemsToBe) {
    X11Stacking stacking;
    stacking.reset({shown(ground, screen), shown(cover, far), shown(secret, place, true)}, 0);
    stacking.remove(secret, 1);
    stacking.configure(ground, screen.moved(3, 0), 0, 2);
    stacking.painted(ground, screen);
    EXPECT_TRUE(stacking.hidden(2.1).contains(20, 20));
    EXPECT_TRUE(stacking.hidden(2.5).contains(20, 20));
    stacking.painted(ground, screen);
    EXPECT_TRUE(stacking.hidden(3).isEmpty());
}

TEST(X11Stacking, TellsWhenWhatShowsOfExcludedWindowsChanged) {
    X11Stacking stacking;
    stacking.reset({shown(ground, screen), shown(secret, place, true)}, 1);
    EXPECT_EQ(stacking.changedAt(), 1);
    stacking.add(shown(cover, far), 2);
    stacking.configure(cover, far.moved(1, 1), secret, 3);
    EXPECT_EQ(stacking.changedAt(), 1) << "elsewhere";
    stacking.configure(cover, place, secret, 4);
    EXPECT_EQ(stacking.changedAt(), 4) << "covered";
    stacking.restack(secret, true, 5);
    EXPECT_EQ(stacking.changedAt(), 5) << "raised";
    EXPECT_TRUE(stacking.hasExcluded());
    stacking.setShown(secret, false, 6);
    EXPECT_EQ(stacking.changedAt(), 6);
    EXPECT_FALSE(stacking.hasExcluded());
}

TEST(X11Stacking, UnderACompositorKnowsWhatWindowsHaveNotPaintedOfTheirMemory) {
    const PixelBox wide{-500, -500, 1'500, 1'500}, half{0, 0, 10, 20};
    X11Stacking stacking;
    stacking.reset({shown(ground, wide), shown(cover, far), shown(secret, place, true)}, 0);
    const auto unpainted = [&](std::uint32_t id) {
        const auto found = stacking.unpainted().find(id);
        const auto* const window = stacking.find(id);
        return found == stacking.unpainted().end() || !window
                   ? X11Region()
                   : found->second.moved(window->bounds.left, window->bounds.top);
    };
    // Each begins with what the screen showed: others' pixels where those lay above.
    stacking.setComposited(true, 2);
    EXPECT_TRUE(coverTheSame(unpainted(ground), regionOf({place, far})));
    EXPECT_TRUE(unpainted(cover).isEmpty());
    stacking.painted(ground, {0, 0, 100, 30});
    EXPECT_TRUE(coverTheSame(unpainted(ground), X11Region(far)));
    stacking.painted(cover, wide);
    EXPECT_FALSE(unpainted(ground).isEmpty()) << "what another window painted";
    stacking.assumePainted(ground, X11Region(wide));
    EXPECT_TRUE(unpainted(ground).isEmpty());

    const struct {
        const char* what;
        std::function<void(X11Stacking&)> step;
        X11Region unpainted;
    } rows[] = {
        {"not shown yet",
         [&](X11Stacking& s) {
             X11TopWindow late = shown(9, {0, 0, 20, 20});
             late.isShown = false;
             s.add(late, 31);
         },
         {}},
        {"shown", [](X11Stacking& s) { s.setShown(9, true, 31); }, X11Region({0, 0, 20, 20})},
        {"painted in part", [&](X11Stacking& s) { s.painted(9, half); }, X11Region({10, 0, 20, 20})},
        {"moved, it takes it along",
         [](X11Stacking& s) {
             s.configure(9, {400, 400, 420, 420}, cover, 32);
         },
         X11Region({410, 400, 420, 420})},
        {"resized",
         [](X11Stacking& s) {
             s.configure(9, {400, 400, 430, 430}, cover, 33);
         },
         X11Region({400, 400, 430, 430})},
        {"painted",
         [](X11Stacking& s) {
             s.painted(9, {400, 400, 430, 430});
         },
         {}},
        {"put away and shown again",
         [](X11Stacking& s) {
             s.setShown(9, false, 34);
             s.setShown(9, true, 35);
         },
         X11Region({400, 400, 430, 430})},
        {"another filter changes nothing of it", [](X11Stacking& s) { s.forget(); }, X11Region({400, 400, 430, 430})},
    };
    for (const auto& [what, step, expected] : rows) {
        step(stacking);
        EXPECT_TRUE(coverTheSame(unpainted(9), expected)) << what;
    }
    // Without a compositor the screen has it.
    stacking.setComposited(false, 60);
    EXPECT_TRUE(stacking.hidden(61).contains(405, 405));
    stacking.painted(9, {400, 400, 430, 430});
    EXPECT_TRUE(stacking.hidden(62).isEmpty());
}

} // namespace nomara
