#include "core/policy/ImageValidity.h"

#include <functional>

#include <gtest/gtest.h>

namespace nomara {

TEST(ImageValidity, ImagesCountFromTheMomentThatAllWasClear) {
    using Hold = ImageValidity::Hold;
    const auto clear = [](ImageValidity& v) { v.release(Hold::notClear, 10); };
    const struct {
        const char* name;
        std::function<void(ImageValidity&)> history;
        double takenAt;
        bool isAllowed;
    } rows[] = {
        {"nobody has looked yet", [](auto&) {}, 1e9, false},
        {"taken before the first tick that found all clear", clear, 9.9, false},
        {"taken at that moment", clear, 10, false},
        {"taken after it", clear, 10.1, true},
        {"something forbidden is there", [&](auto& v) { clear(v), v.hold(Hold::notClear); }, 20, false},
        {"taken between the last tick that saw it and the first that didn't",
         [&](auto& v) { clear(v), v.hold(Hold::notClear), v.release(Hold::notClear, 30); }, 29, false},
        {"taken after that", [&](auto& v) { clear(v), v.hold(Hold::notClear), v.release(Hold::notClear, 30); }, 31,
         true},
        {"all is clear tick after tick: nothing becomes stale",
         [&](auto& v) { clear(v), v.release(Hold::notClear, 30), v.release(Hold::page, 30); }, 20, true},
        {"a clear tick doesn't prove the page", [&](auto& v) { v.hold(Hold::page), clear(v); }, 20, false},
        {"a harmless page doesn't excuse a password dialog",
         [](auto& v) { v.hold(Hold::page), v.release(Hold::page, 10); }, 20, false},
        {"a filter that isn't in force yet", [&](auto& v) { clear(v), v.hold(Hold::filter); }, 20, false},
        {"the last reason that went decides",
         [&](auto& v) {
             clear(v), v.hold(Hold::filter), v.hold(Hold::page), v.release(Hold::page, 40), v.release(Hold::filter, 25);
         },
         39, false},
        {"another window came", [&](auto& v) { clear(v), v.contextChanged(15); }, 14, false},
        {"an image of that window", [&](auto& v) { clear(v), v.contextChanged(15); }, 16, true},
        {"another window came before all was clear", [&](auto& v) { v.contextChanged(5), clear(v); }, 7, false},
    };
    for (const auto& row : rows) {
        ImageValidity validity;
        row.history(validity);
        EXPECT_EQ(validity.allows(row.takenAt), row.isAllowed) << row.name;
    }
}

} // namespace nomara
