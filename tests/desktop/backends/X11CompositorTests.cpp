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
/// them look like that.
std::size_t traceOf(const PixelBuffer& image) {
    std::size_t count = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            const std::uint8_t* const pixel = image.row(y) + std::size_t(x) * 4;
            if (pixel[0] > pixel[1] + 24 && pixel[2] > pixel[1] + 24) ++count;
        }
    return count;
}

/// A real one, with shadows, and windows that come and go within three quarters of a second.
class Compositor {
public:
    explicit Compositor(const std::string& display, std::vector<std::string> more = {})
        : m_connection(connectTo(display)) {
        std::vector<std::string> command{"picom",   "--config",        "/dev/null", "--backend",
                                         "xrender", "--shadow",        "--fading",  "--fade-in-step",
                                         "0.02",    "--fade-out-step", "0.02",      "--fade-delta",
                                         "15",      "--shadow-radius", "20"};
        command.insert(command.end(), more.begin(), more.end());
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
    Compositor compositor(server.display(), {"--inactive-opacity", "0.8"});
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
