#include "tests/desktop/backends/X11StreamTest.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

namespace {

using namespace std::chrono_literals;

/// Pixels in which something of the canary is left, however faint: neither the other windows' colours nor a shadow on
/// them look like that. The edges of letters may, a little.
std::size_t traceOf(const PixelBuffer& image, int least = 24) {
    std::size_t count = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            const std::uint8_t* const pixel = image.row(y) + std::size_t(x) * 4;
            if (pixel[0] > pixel[1] + least && pixel[2] > pixel[1] + least) ++count;
        }
    return count;
}

using Command = std::vector<std::string>;

/// With shadows, and windows that come and go within three quarters of a second.
Command picom(const Command& more = {}) {
    Command command{"picom",    "--config",        "/dev/null", "--backend",       "xrender", "--shadow",
                    "--fading", "--fade-in-step",  "0.02",      "--fade-out-step", "0.02",    "--fade-delta",
                    "15",       "--shadow-radius", "20"};
    command.insert(command.end(), more.begin(), more.end());
    return command;
}

/// A real one.
class Compositor {
public:
    explicit Compositor(const std::string& display, const Command& command = picom())
        : m_connection(connectTo(display)) {
        m_program.emplace(command, display.empty() ? DesktopProgram::Environment{}
                                                   : DesktopProgram::Environment{{"DISPLAY", display}});
    }
    bool isRunning() {
        return waitUntil([this] {
            const std::string name = "_NET_WM_CM_S0";
            auto* const atom = xcb_intern_atom_reply(
                m_connection.get(), xcb_intern_atom(m_connection.get(), 0, std::uint16_t(name.size()), name.c_str()),
                nullptr);
            auto* const owner = xcb_get_selection_owner_reply(
                m_connection.get(), xcb_get_selection_owner(m_connection.get(), atom->atom), nullptr);
            const bool isOwned = owner->owner != XCB_WINDOW_NONE;
            std::free(atom);  // NOLINT: xcb allocates with malloc
            std::free(owner); // NOLINT
            return isOwned;
        });
    }
    void end() { m_program->end(); }

private:
    Connection m_connection;
    std::optional<DesktopProgram> m_program;
};

/// Paints all the time, so that there are images.
class Ticker {
public:
    explicit Ticker(const ColouredWindow& window)
        : m_thread([this, &window] {
              for (int i = 0; !m_isEnding; ++i) {
                  window.fill({0, 0, 10, 10}, i % 2 == 0 ? blue : red);
                  std::this_thread::sleep_for(20ms);
              }
          }) {}
    ~Ticker() {
        m_isEnding = true;
        m_thread.join();
    }
    Ticker(const Ticker&) = delete;
    Ticker& operator=(const Ticker&) = delete;

private:
    std::atomic<bool> m_isEnding = false;
    std::thread m_thread;
};

} // namespace

TEST(X11Compositor, AnExcludedWindowThatFadesInAndOutIsInNoImage) {
    const OwnServer server;
    const auto connection = connectTo(server.display()), painting = connectTo(server.display());
    X11WindowServer windowServer({}, server.display());
    const DisplayID only = windowServer.displays().front().id;
    // All others shine through a little, so what lies below them is seen.
    Compositor compositor(server.display(), picom({"--inactive-opacity", "0.8"}));
    ASSERT_TRUE(compositor.isRunning());
    const ColouredWindow below(connection.get(), {0, 0, 640, 480}, green);
    std::free(xcb_get_input_focus_reply(connection.get(), xcb_get_input_focus(connection.get()), nullptr)); // NOLINT
    const ColouredWindow busy(painting.get(), {500, 400, 60, 60}, blue);
    const ColouredWindow above(connection.get(), {150, 150, 60, 60}, red);
    DesktopProgram program(secretTerminal("40x12+100+100"), {{"DISPLAY", server.display()}});
    std::uint32_t secret = 0;
    ASSERT_TRUE(waitUntil([&] {
        const auto window = find(windowServer.onScreenWindows(), "secret");
        if (window) secret = window->number;
        return window.has_value();
    }));
    WatchedStream everything(server.display(), only);
    ASSERT_TRUE(everything.shows([](const PixelBuffer& image) { return traceOf(image) > 1'000; }))
        << "else the test looks for a colour that isn't there";

    std::atomic<std::size_t> images = 0, leaked = 0, telling = 0;
    WatchedStream stream(server.display(), only, {{secretApplication}, {}}, 0.005);
    stream.setOnSample([&](const PixelBuffer& image) {
        ++images;
        leaked += traceOf(image);
        if (countOf(image, 0) < 640U * 480U * 4 / 5) ++telling;
    });
    const auto configure = [&](std::uint16_t mask, std::vector<std::uint32_t> values) {
        xcb_configure_window(connection.get(), secret, mask, values.data());
        xcb_flush(connection.get());
    };
    const auto setShown = [&](bool isShown) {
        isShown ? xcb_map_window(connection.get(), secret) : xcb_unmap_window(connection.get(), secret);
        xcb_flush(connection.get());
    };
    const Ticker ticker(busy);
    const struct {
        const char* what;
        std::function<void()> act;
    } steps[] = {
        {"it stands still", [] {}},
        {"moved",
         [&] {
             configure(XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, {250, 60});
         }},
        {"put below another one", [&] { configure(XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_BELOW}); }},
        {"and above again", [&] { configure(XCB_CONFIG_WINDOW_STACK_MODE, {XCB_STACK_MODE_ABOVE}); }},
        {"put away", [&] { setShown(false); }},
        {"back", [&] { setShown(true); }},
        {"put away and back at once",
         [&] {
             setShown(false);
             setShown(true);
         }},
        {"closed", [&] { program.end(); }},
        {"and its place is covered by others",
         [&] {
             below.raise();
             busy.raise();
         }},
    };
    for (const auto& [what, act] : steps) {
        act();
        // Those that were under way, and some from after the pause.
        const std::size_t before = images;
        EXPECT_TRUE(waitUntil([&] { return images >= before + 8; }, 60s)) << "no images: " << what;
        EXPECT_EQ(leaked, 0U) << what;
    }
    EXPECT_EQ(telling, images) << "what lies elsewhere is in all of them";
    stream.setOnSample({});
    EXPECT_TRUE(waitUntil([&] { return countOf(*stream.last()->image, 0) == 0; }, 60s))
        << "nothing stays black for good";
}

TEST(X11Compositor, ThatEndsLeavesNothingOfAnExcludedWindow) {
    const OwnServer server;
    const auto connection = connectTo(server.display()), painting = connectTo(server.display());
    X11WindowServer windowServer({}, server.display());
    const ColouredWindow below(connection.get(), {0, 0, 640, 480}, green);
    std::free(xcb_get_input_focus_reply(connection.get(), xcb_get_input_focus(connection.get()), nullptr)); // NOLINT
    const ColouredWindow busy(painting.get(), {500, 400, 60, 60}, blue);
    const DesktopProgram program(secretTerminal("40x12+100+100"), {{"DISPLAY", server.display()}});
    ASSERT_TRUE(waitUntil([&] { return find(windowServer.onScreenWindows(), "secret").has_value(); }));
    std::atomic<std::size_t> images = 0, leaked = 0;
    WatchedStream stream(server.display(), windowServer.displays().front().id, {{secretApplication}, {}}, 0.005);
    stream.setOnSample([&](const PixelBuffer& image) {
        ++images;
        leaked += traceOf(image);
    });
    const Ticker ticker(busy);
    ASSERT_TRUE(waitUntil([&] { return images > 0; }));
    // A window whose program hangs, above the excluded one, which begins with what is on the screen.
    for (int round = 0; round < 2; ++round) {
        Compositor compositor(server.display());
        ASSERT_TRUE(compositor.isRunning());
        const ColouredWindow hung(connection.get(), {120, 120, 100, 100}, std::nullopt);
        std::size_t before = images;
        EXPECT_TRUE(waitUntil([&] { return images >= before + 8; }, 60s));
        EXPECT_EQ(leaked, 0U) << "as it is shown, round " << round;
        hung.move(400, 20);
        before = images;
        EXPECT_TRUE(waitUntil([&] { return images >= before + 8; }, 60s));
        EXPECT_EQ(leaked, 0U) << "moved away, round " << round;
        compositor.end();
        before = images;
        EXPECT_TRUE(waitUntil([&] { return images >= before + 8; }, 60s));
        EXPECT_EQ(leaked, 0U) << "round " << round;
    }
}

// Switchers with small pictures of windows, windows that grow, shrink and fade, desktops that slide: window managers
// that compose the screen themselves paint all of it, and tell nobody.
TEST(X11Compositor, WhateverAWindowManagerPaintsAnExcludedWindowIsInNoImageAndOthersAre) {
    const struct {
        Command command;
        bool hasPictures; ///< where one switches between windows
    } managers[] = {
        {{"xfwm4", "--compositor=on"}, true},
        {{"mutter", "--x11"}, false},
    };
    constexpr int withLetters = 100; // titles
    for (const auto& [command, hasPictures] : managers) {
        SCOPED_TRACE(command.front());
        const OwnServer server({"-screen", "0", "1000x700x24"});
        const auto painting = connectTo(server.display());
        X11WindowServer windowServer({}, server.display());
        const DisplayID only = windowServer.displays().front().id;
        const DesktopProgram::Environment environment{{"DISPLAY", server.display()}};
        Compositor compositor(server.display(), command);
        ASSERT_TRUE(compositor.isRunning());
        const auto numberOf = [&](const std::string& title) {
            std::uint32_t number = 0;
            waitUntil([&] {
                const auto window = find(windowServer.onScreenWindows(), title);
                if (window) number = window->number;
                return number != 0;
            });
            return number;
        };
        const auto act = [&](Command words) {
            words.insert(words.begin(), {"env", "DISPLAY=" + server.display(), "xdotool"});
            runCommand(words);
        };
        std::optional<DesktopProgram> program(std::in_place, secretTerminal("50x18+60+60"), environment);
        const std::string secret = std::to_string(numberOf("secret"));
        const DesktopProgram other({"xterm", "-T", "other", "-bg", "#10c040", "-fg", "#10c040", "-geometry",
                                    "40x12+560+380", "-e", "sleep", "1000"},
                                   environment);
        ASSERT_NE(secret, "0");
        ASSERT_NE(numberOf("other"), 0U);
        const ColouredWindow busy(painting.get(), {960, 660, 40, 40}, blue);
        const Ticker ticker(busy);

        // What the screen shows, and by which of the two kinds of filter it is kept out of the images.
        std::atomic<std::size_t> onScreen = 0, images = 0, leaked = 0, telling = 0, byNumber = 0, leakedByNumber = 0;
        WatchedStream screen(server.display(), only, {}, 0.05, {}, X11ImageSource::screen);
        screen.setOnSample([&](const PixelBuffer& image) { onScreen = traceOf(image, withLetters); });
        WatchedStream stream(server.display(), only, {{secretApplication}, {}}, 0.02);
        stream.setOnSample([&](const PixelBuffer& image) {
            ++images;
            leaked += traceOf(image, withLetters);
            if (countOf(image, green) > 10'000) ++telling;
        });
        WatchedStream numbered(server.display(), only, {{}, {std::uint32_t(std::stoul(secret))}}, 0.02);
        numbered.setOnSample([&](const PixelBuffer& image) {
            ++byNumber;
            leakedByNumber += traceOf(image, withLetters);
        });
        ASSERT_TRUE(waitUntil([&] { return onScreen > 10'000; }))
            << "else the test looks for a colour that isn't there";
        const struct {
            const char* what;
            std::function<void()> act;
        } steps[] = {
            {"it stands still", [] {}},
            {"minimised",
             [&] {
                 act({"windowminimize", secret});
             }},
            {"the switcher is shown",
             [&] {
                 act({"keydown", "alt", "key", "Tab"});
             }},
            {"on to the next",
             [&] {
                 act({"key", "Tab"});
             }},
            {"released",
             [&] {
                 act({"keyup", "alt"});
             }},
            {"back",
             [&] {
                 act({"windowactivate", secret});
             }},
            {"the switcher is shown over it",
             [&] {
                 act({"keydown", "alt", "key", "Tab"});
             }},
            {"released again",
             [&] {
                 act({"keyup", "alt"});
             }},
            {"moved",
             [&] {
                 act({"windowmove", secret, "300", "200"});
             }},
            {"resized",
             [&] {
                 act({"windowsize", secret, "400", "300"});
             }},
            {"another desktop",
             [&] {
                 act({"set_desktop", "1"});
             }},
            {"and back",
             [&] {
                 act({"set_desktop", "0"});
             }},
            {"closed", [&] { program->end(); }},
        };
        bool isPictured = false;
        for (const auto& [what, step] : steps) {
            step();
            const std::size_t before = images, beforeByNumber = byNumber;
            EXPECT_TRUE(waitUntil([&] { return images >= before + 15 && byNumber >= beforeByNumber + 15; }, 60s))
                << "no images: " << what;
            EXPECT_EQ(leaked, 0U) << what;
            EXPECT_EQ(leakedByNumber, 0U) << what << ", by its number";
            // It is minimised then, so what one sees of it is a picture.
            if (hasPictures && std::string_view(what) == "the switcher is shown")
                isPictured = waitUntil([&] { return onScreen > 100; });
        }
        EXPECT_EQ(isPictured, hasPictures);
        EXPECT_GT(telling, images / 2) << "what may be seen is seen";
        EXPECT_TRUE(stream.last()->layers);
    }
}

// A window begins with a copy of what the screen showed in its place.
TEST(X11Compositor, WhatANewWindowBeginsWithIsNotShownUntilItHasPainted) {
    const OwnServer server;
    const auto connection = connectTo(server.display()), painting = connectTo(server.display());
    X11WindowServer windowServer({}, server.display());
    const ColouredWindow below(connection.get(), {0, 0, 640, 480}, green);
    std::free(xcb_get_input_focus_reply(connection.get(), xcb_get_input_focus(connection.get()), nullptr)); // NOLINT
    const ColouredWindow busy(painting.get(), {500, 400, 60, 60}, blue);
    Compositor compositor(server.display());
    ASSERT_TRUE(compositor.isRunning());
    const DesktopProgram program(secretTerminal("40x12+100+100"), {{"DISPLAY", server.display()}});
    ASSERT_TRUE(waitUntil([&] { return find(windowServer.onScreenWindows(), "secret").has_value(); }));
    const DisplayID only = windowServer.displays().front().id;
    WatchedStream everything(server.display(), only);
    ASSERT_TRUE(everything.shows([](const PixelBuffer& image) { return countOf(image, canary) > 10'000; }));
    std::atomic<std::size_t> images = 0, leaked = 0;
    WatchedStream stream(server.display(), only, {{secretApplication}, {}}, 0.005);
    stream.setOnSample([&](const PixelBuffer& image) {
        ++images;
        leaked += traceOf(image);
    });
    const Ticker ticker(busy);
    ASSERT_TRUE(waitUntil([&] { return images > 0; }));
    const auto settles = [&](const char* what) {
        const std::size_t before = images;
        EXPECT_TRUE(waitUntil([&] { return images >= before + 8; }, 60s)) << what;
        EXPECT_EQ(leaked, 0U) << what;
    };
    const ColouredWindow hung(connection.get(), {120, 120, 100, 100}, std::nullopt);
    settles("shown");
    hung.move(400, 20);
    settles("moved, which copies it");
    // What it paints right after that may be the copy, as far as one is told.
    EXPECT_TRUE(waitUntil([&] {
        hung.fill({0, 0, 100, 50}, red);
        return countOf(*stream.last()->image, red) >= 5'000;
    })) << "painted in part";
    settles("painted in part");
    EXPECT_EQ(colourAt(*stream.last()->image, 450, 100), 0U) << "the rest isn't";
    hung.fill({0, 0, 100, 100}, red);
    EXPECT_TRUE(stream.shows([](const PixelBuffer& image) { return colourAt(image, 450, 100) == red; }));
}

// A private window isn't known to the stream: the list that is read with each image has to name it. On the desktop,
// with a window manager that has several desktops, without a compositor and with one.
TEST_F(X11, NoImageShowsAWindowThatItsListDoesNotNameWhileDesktopsAreSwitched) {
    const DesktopProgram program(secretTerminal("60x20+200+200"));
    ASSERT_TRUE(appears("secret"));
    const auto painting = connectTo("");
    const ColouredWindow busy(painting.get(), {10, 10, 40, 40}, blue);
    const auto switchTo = [](int desktop) { outputOf({"xdotool", "set_desktop", std::to_string(desktop)}); };
    for (const bool isComposited : {false, true}) {
        std::optional<Compositor> compositor;
        if (isComposited) {
            compositor.emplace("");
            ASSERT_TRUE(compositor->isRunning());
        }
        X11WindowServer listing;
        std::atomic<bool> isNamed = false;
        std::atomic<std::size_t> named = 0, unnamed = 0, leaked = 0;
        WatchedStream stream("", server.displays().front().id, {}, 0.005,
                             [&] { isNamed = find(listing.onScreenWindows(), "secret").has_value(); });
        stream.setOnSample([&](const PixelBuffer& image) {
            ++(isNamed ? named : unnamed);
            if (!isNamed && traceOf(image) > 0) ++leaked;
        });
        {
            const Ticker ticker(busy);
            const auto start = std::chrono::steady_clock::now();
            for (int round = 0; round < 15 || named < 3 || unnamed < 3; ++round) {
                if (std::chrono::steady_clock::now() - start > 90s) break;
                switchTo(1);
                if (round % 5 == 0) std::this_thread::sleep_for(isComposited ? 2'500ms : 100ms);
                switchTo(0);
                if (round % 5 == 2) std::this_thread::sleep_for(isComposited ? 2'500ms : 100ms);
            }
        }
        stream.stream().stop();
        EXPECT_EQ(leaked, 0U) << "compositor: " << isComposited;
        EXPECT_GE(named, 3U) << "compositor: " << isComposited;
        EXPECT_GE(unnamed, 3U) << "compositor: " << isComposited;
    }
    switchTo(0);
}

} // namespace nomara
