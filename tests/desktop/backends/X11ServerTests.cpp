#include "platform/PlatformError.h"
#include "platform/linux/x11/X11InputActivity.h"
#include "platform/linux/x11/X11RunningApplications.h"
#include "tests/desktop/backends/X11Test.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

TEST_F(X11, FindsDisplaysByNameAndPicksTheMainOne) {
    const auto whole = server.displays();
    ASSERT_EQ(whole.size(), 1U);
    EXPECT_EQ(whole[0].bounds, (Rect{0, 0, 1920, 1080}));
    EXPECT_TRUE(whole[0].isMain);
    EXPECT_NE(whole[0].id, 0U);
    EXPECT_EQ(X11WindowServer().displays(), whole) << "ids stay the same from one connection to the next";

    outputOf({"xrandr", "--setmonitor", "LEFT", "960/250x1080/280+0+0", "screen"});
    outputOf({"xrandr", "--setmonitor", "RIGHT", "960/250x1080/280+960+0", "none"});
    const auto both = server.displays();
    outputOf({"xrandr", "--delmonitor", "RIGHT"});
    outputOf({"xrandr", "--setmonitor", "*RIGHT", "960/250x1080/280+960+0", "none"});
    const auto rightFirst = server.displays();
    outputOf({"xrandr", "--delmonitor", "LEFT"});
    outputOf({"xrandr", "--delmonitor", "RIGHT"});

    ASSERT_EQ(both.size(), 2U);
    EXPECT_EQ(displayAt(both, {10, 10}).name, "LEFT");
    EXPECT_EQ(displayAt(both, {1900, 10}).name, "RIGHT");
    EXPECT_NE(both[0].id, both[1].id);
    EXPECT_EQ(mainDisplay(both).name, "LEFT") << "none is marked, so the one in the corner";
    EXPECT_EQ(mainDisplay(rightFirst).name, "RIGHT");
    EXPECT_EQ(std::ranges::count_if(rightFirst, &Display::isMain), 1);
    EXPECT_EQ(server.displays(), whole);
}

TEST_F(X11, TellsThatDisplaysChange) {
    // Also where nobody asks anything, or asks for displays alone.
    for (const bool isAsked : {false, true}) {
        X11WindowServer watched;
        std::atomic<int> told = 0;
        watched.observeDisplays([&] { ++told; });
        const auto tells = [&](const std::vector<std::string>& command) {
            const int before = told;
            outputOf(command);
            return waitUntil([&] {
                if (isAsked) watched.displays();
                return told > before;
            });
        };
        EXPECT_TRUE(tells({"xrandr", "--setmonitor", "LEFT", "960/250x1080/280+0+0", "screen"})) << isAsked;
        EXPECT_TRUE(tells({"xrandr", "--delmonitor", "LEFT"})) << isAsked;
        watched.observeDisplays({});
        const int before = told;
        outputOf({"xrandr", "--setmonitor", "LEFT", "960/250x1080/280+0+0", "screen"});
        outputOf({"xrandr", "--delmonitor", "LEFT"});
        watched.onScreenWindows();
        EXPECT_EQ(told, before);
    }
}

TEST_F(X11, AnswersSeveralThreadsWhileWindowsComeAndGo) {
    std::atomic<bool> isOver = false;
    std::vector<std::thread> readers(2);
    for (std::thread& reader : readers)
        reader = std::thread([&] {
            while (!isOver) {
                EXPECT_EQ(server.displays().size(), 1U);
                for (const auto& window : server.onScreenWindows())
                    EXPECT_TRUE(window.bounds);
            }
        });
    const DesktopProgram follower(terminal("comes and goes"));
    for (int i = 0; i < 100; ++i) {
        const RawWindow window({double(i), double(i), 100, 100}, i % 2 == 0);
        window.show();
        X11RunningApplications({}).frontmost();
    }
    isOver = true;
    for (auto& reader : readers)
        reader.join();
}

TEST(X11WithoutAWindowManager, StillSeesWindows) {
    const OwnServer own;
    X11WindowServer server({}, own.display());
    const Connection client(xcb_connect(own.display().c_str(), nullptr));
    const RawWindow back({10, 10, 100, 100}, false, client.get()), front({50, 50, 100, 100}, true, client.get());
    back.show();
    EXPECT_TRUE(waitUntil([&] { return server.onScreenWindows().size() == 1; }));
    front.show();
    EXPECT_TRUE(waitUntil([&] { return server.onScreenWindows().size() == 2; }));
    const auto windows = server.onScreenWindows();
    EXPECT_EQ(windows.at(0).number, front.number());
    EXPECT_EQ(windows.at(1).number, back.number());
    EXPECT_EQ(windows.at(1).layer, 0);
    EXPECT_EQ(windows.at(1).bounds, (Rect{10, 10, 100, 100}));
    X11RunningApplications applications({}, {}, own.display());
    EXPECT_EQ(applications.frontmost(), std::nullopt);
}

TEST(X11WithoutExtensions, AnswersWhatItCan) {
    const OwnServer own({"-extension", "RANDR", "-extension", "MIT-SCREEN-SAVER"});
    const auto displays = X11WindowServer({}, own.display()).displays();
    ASSERT_EQ(displays.size(), 1U);
    EXPECT_EQ(displays[0].bounds, (Rect{0, 0, 640, 480}));
    EXPECT_TRUE(displays[0].isMain);
    EXPECT_NE(displays[0].id, 0U);
    EXPECT_EQ(X11InputActivity({}, {}, own.display()).secondsSinceLastInput(), std::nullopt);
}

TEST(X11ConnectionLoss, EmptiesAnswersAndIsToldOnce) {
    OwnServer own;
    std::atomic<int> serverLost = 0, activityLost = 0, applicationsLost = 0;
    X11WindowServer server([&] { ++serverLost; }, own.display());
    X11InputActivity activity([](const WindowOwner&) { return false; }, [&] { ++activityLost; }, own.display());
    EXPECT_EQ(activity.secureInput(server.onScreenWindows()), SecureInput::unknown);
    X11RunningApplications applications(
        {}, [&] { ++applicationsLost; }, own.display());
    std::atomic<int> activations = 0;
    applications.observeActivations([&](const std::optional<FrontmostApp>& app) {
        EXPECT_EQ(app, std::nullopt);
        ++activations;
    });
    const auto displays = server.displays();
    ASSERT_EQ(displays.size(), 1U);
    EXPECT_EQ(displays[0].bounds, (Rect{0, 0, 640, 480}));

    own.end();
    EXPECT_TRUE(waitUntil([&] { return applicationsLost > 0; })) << "noticed without being asked";
    EXPECT_TRUE(waitUntil([&] { return activations > 0; }));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(server.displays().empty());
        EXPECT_TRUE(server.onScreenWindows().empty());
        EXPECT_EQ(activity.secondsSinceLastInput(), std::nullopt);
        EXPECT_EQ(activity.secureInput(server.onScreenWindows()), SecureInput::certain)
            << "what can't be seen can't be ruled out";
        EXPECT_EQ(applications.frontmost(), std::nullopt);
    }
    EXPECT_EQ(serverLost, 1);
    EXPECT_EQ(activityLost, 1);
    EXPECT_EQ(applicationsLost, 1);
}

TEST(X11Start, SaysWhatIsMissing) {
    const auto reasonWith = [](const std::string& display) {
        try {
            const X11WindowServer server({}, display);
        } catch (const PlatformError& error) {
            return std::string(error.what());
        }
        return std::string("(connected)");
    };
    EXPECT_EQ(reasonWith(":4242"), "The X server at :4242 can't be reached.");
    EXPECT_EQ(reasonWith("no display at all"), "The X server at no display at all can't be reached.");
    const char* const display = std::getenv("DISPLAY");
    const std::string before = display != nullptr ? display : "";
    unsetenv("DISPLAY");
    EXPECT_EQ(reasonWith(""), "No display: DISPLAY is not set.");
    setenv("DISPLAY", before.c_str(), 1);
}

} // namespace nomara
