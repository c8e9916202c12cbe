#include "platform/PlatformError.h"
#include "platform/linux/desktop/ApplicationIdentifier.h"
#include "platform/linux/x11/X11InputActivity.h"
#include "platform/linux/x11/X11RunningApplications.h"
#include "platform/linux/x11/X11WindowServer.h"
#include "tests/support/Programs.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>

#include <gtest/gtest.h>
#include <xcb/xcb.h>

namespace nomara {

namespace {

using testing::outputOf;
using testing::Program;
using testing::waitUntil;

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

// One for all tests: the server gives the numbers of a client's windows to the next client, and a window manager that
// is busy takes a new window for the old one.
xcb_connection_t* sharedConnection() {
    static const Connection connection(xcb_connect(nullptr, nullptr));
    return connection.get();
}

// A window that the test itself describes.
class RawWindow {
public:
    explicit RawWindow(Rect bounds, bool isOverride = false, xcb_connection_t* connection = sharedConnection())
        : m_connection(connection) {
        const auto* screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        m_window = xcb_generate_id(m_connection);
        const std::uint32_t values[] = {screen->white_pixel, isOverride ? 1U : 0U};
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, screen->root, std::int16_t(bounds.x),
                          std::int16_t(bounds.y), std::uint16_t(bounds.width), std::uint16_t(bounds.height), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    }
    ~RawWindow() {
        xcb_destroy_window(m_connection, m_window);
        xcb_flush(m_connection);
    }
    RawWindow(const RawWindow&) = delete;
    RawWindow& operator=(const RawWindow&) = delete;

    std::uint32_t number() const { return m_window; }
    xcb_atom_t atom(std::string_view name) const {
        auto* reply = xcb_intern_atom_reply(
            m_connection, xcb_intern_atom(m_connection, 0, std::uint16_t(name.size()), name.data()), nullptr);
        const xcb_atom_t atom = reply->atom;
        std::free(reply);
        return atom;
    }
    void setText(std::string_view property, xcb_atom_t type, std::string_view text) const {
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, atom(property), type, 8,
                            std::uint32_t(text.size()), text.data());
    }
    void setNumbers(std::string_view property, xcb_atom_t type, std::vector<std::uint32_t> numbers) const {
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, atom(property), type, 32,
                            std::uint32_t(numbers.size()), numbers.data());
    }
    void setType(std::string_view type) const { setNumbers("_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, {atom(type)}); }
    void claim(ProcessID pid, std::string_view machine) const {
        setNumbers("_NET_WM_PID", XCB_ATOM_CARDINAL, {std::uint32_t(pid)});
        if (!machine.empty()) setText("WM_CLIENT_MACHINE", XCB_ATOM_STRING, machine);
    }
    void show() const {
        xcb_map_window(m_connection, m_window);
        xcb_flush(m_connection);
    }

private:
    xcb_connection_t* m_connection;
    xcb_window_t m_window = 0;
};

// A display server of the test's own, without a window manager.
class OwnServer {
public:
    explicit OwnServer(const std::vector<std::string>& options = {}) : m_program(command(options)) {
        m_display = ":" + m_program.readLine();
    }
    const std::string& display() const { return m_display; }
    void end() { m_program.end(); }

private:
    static std::vector<std::string> command(const std::vector<std::string>& options) {
        std::vector<std::string> words = {"Xvfb",       "-displayfd", "1",   "-screen", "0",
                                          "640x480x24", "-nolisten",  "tcp", "-noreset"};
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }

    Program m_program;
    std::string m_display;
};

std::string machineName() {
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

std::optional<WindowInfo> find(const std::vector<WindowInfo>& windows, std::string_view title) {
    const auto found = std::ranges::find_if(windows, [&](const WindowInfo& w) { return w.title == title; });
    return found == windows.end() ? std::nullopt : std::optional(*found);
}

std::optional<WindowInfo> find(const std::vector<WindowInfo>& windows, std::uint32_t number) {
    const auto found = std::ranges::find(windows, number, &WindowInfo::number);
    return found == windows.end() ? std::nullopt : std::optional(*found);
}

std::size_t place(const std::vector<WindowInfo>& windows, std::string_view title) {
    return std::size_t(std::ranges::find_if(windows, [&](const WindowInfo& w) { return w.title == title; }) -
                       windows.begin());
}

std::vector<std::string> terminal(const std::string& title, const std::string& geometry = "40x10+100+100") {
    return {"xterm", "-T", title, "-geometry", geometry, "-e", "sleep", "1000"};
}

// The number after a label in what a program prints.
double numberAfter(const std::string& text, std::string_view label, std::size_t skip = 0) {
    auto at = text.find(label);
    if (at == std::string::npos) return 0;
    at += label.size();
    for (; skip > 0; --skip)
        at = text.find(',', at) + 1;
    return std::strtod(text.c_str() + at, nullptr);
}

// What other programs say about a window and the decorations around it.
Rect frameByOtherPrograms(std::uint32_t number) {
    const std::string id = std::to_string(number);
    const std::string inside = outputOf({"xwininfo", "-id", id});
    const std::string around = outputOf({"xprop", "-id", id, "_NET_FRAME_EXTENTS"}); // left, right, top, bottom
    const auto extent = [&](std::size_t i) { return numberAfter(around, "= ", i); };
    return {numberAfter(inside, "Absolute upper-left X:") - extent(0),
            numberAfter(inside, "Absolute upper-left Y:") - extent(2),
            numberAfter(inside, "Width:") + extent(0) + extent(1),
            numberAfter(inside, "Height:") + extent(2) + extent(3)};
}

class X11 : public ::testing::Test {
protected:
    bool appears(std::string_view title) {
        return waitUntil([&] { return find(server.onScreenWindows(), title).has_value(); });
    }
    bool disappears(std::string_view title) {
        return waitUntil([&] { return !find(server.onScreenWindows(), title).has_value(); });
    }
    X11WindowServer server;
};

} // namespace

TEST_F(X11, TellsWhatAWindowIs) {
    const Program program(terminal("plain window"));
    ASSERT_TRUE(appears("plain window"));
    const auto window = *find(server.onScreenWindows(), "plain window");
    EXPECT_EQ(window.pid, program.pid());
    EXPECT_EQ(window.layer, 0);
    EXPECT_EQ(window.opacity, 1);
    ASSERT_TRUE(window.bounds);
    // The window manager decorates the window some time after it is mapped.
    const auto isFramed = [&] {
        return find(server.onScreenWindows(), window.number)->bounds == frameByOtherPrograms(window.number);
    };
    EXPECT_TRUE(waitUntil(isFramed));
    const Rect frame = frameByOtherPrograms(window.number);
    EXPECT_GT(frame.height, 100);
    EXPECT_LT(frame.height, 300);

    outputOf({"xdotool", "set_window", "--name", "Grüße ✓ ışık", std::to_string(window.number)});
    EXPECT_TRUE(appears("Grüße ✓ ışık"));
}

TEST_F(X11, OrdersWindowsFrontToBackAndLeavesOutWhatIsNotSeen) {
    const Program first(terminal("first")), second(terminal("second"));
    ASSERT_TRUE(appears("first") && appears("second"));
    const std::string one = std::to_string(find(server.onScreenWindows(), "first")->number);
    const auto isBefore = [&](std::string_view a, std::string_view b) {
        const auto windows = server.onScreenWindows();
        return place(windows, a) < place(windows, b) && place(windows, b) < windows.size();
    };
    outputOf({"xdotool", "windowactivate", "--sync", one});
    EXPECT_TRUE(waitUntil([&] { return isBefore("first", "second"); }));
    outputOf({"wmctrl", "-a", "second"});
    EXPECT_TRUE(waitUntil([&] { return isBefore("second", "first"); }));

    outputOf({"xdotool", "windowminimize", one});
    EXPECT_TRUE(disappears("first"));
    EXPECT_TRUE(find(server.onScreenWindows(), "second"));
    outputOf({"wmctrl", "-a", "first"});
    EXPECT_TRUE(appears("first"));

    outputOf({"wmctrl", "-r", "first", "-t", "1"});
    EXPECT_TRUE(disappears("first"));
    outputOf({"wmctrl", "-s", "1"});
    EXPECT_TRUE(appears("first"));
    EXPECT_TRUE(disappears("second"));
    outputOf({"wmctrl", "-s", "0"});
    EXPECT_TRUE(appears("second"));

    outputOf({"wmctrl", "-r", "second", "-b", "add,shaded"});
    EXPECT_TRUE(waitUntil([&] {
        const auto window = find(server.onScreenWindows(), "second");
        return window && window->bounds && window->bounds->height < 60;
    })) << "a window that is rolled up still shows its title";
}

TEST_F(X11, ReadsTitlesOfEveryKind) {
    const RawWindow window({50, 50, 200, 100});
    window.show();
    const xcb_atom_t utf8 = window.atom("UTF8_STRING");
    struct Row {
        std::string what;
        const char* property;
        xcb_atom_t type;
        std::string bytes;
        std::optional<std::string> expected;
    };
    const Row rows[] = {
        {"Latin-1", "WM_NAME", XCB_ATOM_STRING, "caf\xe9", "café"},
        {"the newer name wins", "_NET_WM_NAME", utf8, "naïve", "naïve"},
        {"not UTF-8", "_NET_WM_NAME", utf8, "a\xff\x62",
         "a\xEF\xBF\xBD"
         "b"},
        {"counts its last byte", "_NET_WM_NAME", utf8, std::string("text\0", 5), "text"},
        {"empty, so the older one", "_NET_WM_NAME", utf8, "", "café"},
        {"both empty", "WM_NAME", XCB_ATOM_STRING, "", std::nullopt},
    };
    for (const Row& row : rows) {
        window.setText(row.property, row.type, row.bytes);
        window.show();
        std::optional<WindowInfo> seen;
        EXPECT_TRUE(waitUntil([&] {
            seen = find(server.onScreenWindows(), window.number());
            return seen && seen->title == row.expected;
        })) << row.what
            << ": " << (seen && seen->title ? *seen->title : "(none)");
    }
}

TEST_F(X11, KnowsLayersShadowsAndOpacity) {
    const RawWindow plain({300, 300, 200, 150}), dock({0, 0, 100, 30}), desktop({0, 0, 500, 500});
    const RawWindow menu({400, 350, 80, 90}, true), tip({10, 400, 60, 20}, true), outside({-500, -500, 20, 20}, true);
    // The shadow belongs to the window but isn't seen: left, right, top, bottom.
    plain.setNumbers("_GTK_FRAME_EXTENTS", XCB_ATOM_CARDINAL, {10, 11, 12, 13});
    plain.setNumbers("_MOTIF_WM_HINTS", plain.atom("_MOTIF_WM_HINTS"), {2, 0, 0, 0, 0}); // no decorations
    plain.setNumbers("_NET_WM_WINDOW_OPACITY", XCB_ATOM_CARDINAL, {0x80000000});
    dock.setType("_NET_WM_WINDOW_TYPE_DOCK");
    desktop.setType("_NET_WM_WINDOW_TYPE_DESKTOP");
    tip.setType("_NET_WM_WINDOW_TYPE_TOOLTIP");
    for (const RawWindow* window : {&desktop, &plain, &dock, &menu, &tip, &outside})
        window->show();
    ASSERT_TRUE(waitUntil([&] {
        const auto windows = server.onScreenWindows();
        return std::ranges::all_of(std::vector{&plain, &dock, &menu, &tip},
                                   [&](const RawWindow* w) { return find(windows, w->number()).has_value(); });
    }));
    const auto windows = server.onScreenWindows();
    const auto shown = *find(windows, plain.number());
    const Rect frame = frameByOtherPrograms(plain.number());
    EXPECT_EQ(shown.bounds, (Rect{frame.x + 10, frame.y + 12, frame.width - 21, frame.height - 25}));
    EXPECT_NEAR(shown.opacity, 0.5, 0.001);
    EXPECT_EQ(shown.layer, 0);
    EXPECT_GT(find(windows, dock.number())->layer, 0);
    EXPECT_GT(find(windows, menu.number())->layer, find(windows, dock.number())->layer);
    EXPECT_GT(find(windows, tip.number())->layer, 0);
    EXPECT_EQ(find(windows, menu.number())->bounds, (Rect{400, 350, 80, 90}));
    EXPECT_FALSE(find(windows, desktop.number()));
    EXPECT_FALSE(find(windows, outside.number()));
    EXPECT_LT(std::ranges::find(windows, menu.number(), &WindowInfo::number),
              std::ranges::find(windows, plain.number(), &WindowInfo::number));
    // The test's own connection is known to the server, although the window doesn't tell.
    EXPECT_EQ(shown.pid, getpid());
}

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

TEST_F(X11, FollowsTheFrontApplication) {
    ApplicationIdentifier identifier;
    std::mutex mutex;
    std::vector<std::optional<FrontmostApp>> heard;
    const auto hasHeard = [&](ProcessID pid) {
        const std::lock_guard lock(mutex);
        return std::ranges::any_of(heard, [&](const auto& app) { return app && app->pid == pid; });
    };
    X11RunningApplications applications([&](const WindowOwner& owner) { return identifier.identify(owner); });
    EXPECT_EQ(applications.frontmost(), std::nullopt);
    applications.observeActivations([&](std::optional<FrontmostApp> app) {
        const std::lock_guard lock(mutex);
        heard.push_back(std::move(app));
    });
    const auto frontPid = [&] {
        const auto app = applications.frontmost();
        return app ? app->pid : 0;
    };
    {
        const Program xterm(terminal("followed"));
        EXPECT_TRUE(waitUntil([&] { return hasHeard(xterm.pid()); }));
        EXPECT_EQ(applications.frontmost(), (FrontmostApp{xterm.pid(), "debian-xterm", "XTerm"}));
        {
            const Program dialog({"zenity", "--info", "--title", "dialog in front", "--text", "hello"});
            EXPECT_TRUE(waitUntil([&] { return hasHeard(dialog.pid()); }));
            EXPECT_EQ(applications.frontmost(), (FrontmostApp{dialog.pid(), "zenity", "Zenity"}));
            EXPECT_EQ(X11RunningApplications({}).frontmost(), (FrontmostApp{dialog.pid(), std::nullopt, std::nullopt}))
                << "known at once, before anything changes";
        }
        EXPECT_TRUE(waitUntil([&] { return frontPid() == xterm.pid(); })) << "its window is gone";
        applications.observeActivations({});
        const std::lock_guard lock(mutex);
        heard.clear();
    }
    EXPECT_TRUE(waitUntil([&] { return !applications.frontmost(); }));
    EXPECT_TRUE(heard.empty());
}

TEST_F(X11, BelievesTheServerMoreThanTheWindow) {
    const Program other(terminal("another program"));
    ASSERT_TRUE(appears("another program"));
    X11RunningApplications applications({});
    for (const std::string& machine : {std::string(), machineName(), std::string("another-machine")}) {
        const RawWindow liar({300, 300, 200, 150});
        liar.claim(other.pid(), machine);
        liar.show();
        ASSERT_TRUE(waitUntil([&] { return find(server.onScreenWindows(), liar.number()); }));
        EXPECT_EQ(find(server.onScreenWindows(), liar.number())->pid, getpid()) << machine;
        outputOf({"xdotool", "windowactivate", "--sync", std::to_string(liar.number())});
        EXPECT_TRUE(waitUntil([&] { return applications.frontmost() && applications.frontmost()->pid == getpid(); }))
            << machine;
        outputOf({"wmctrl", "-a", "another program"});
        EXPECT_TRUE(waitUntil([&] { return applications.frontmost() && applications.frontmost()->pid == other.pid(); }))
            << machine;
    }
}

TEST(X11WindowOfUnknownClient, IsBelievedWhereItCountsAsThisMachineDoes) {
    const OwnServer unaware({"-extension", "X-Resource"}), listening({"-listen", "tcp"});
    struct Row {
        std::string what, serverDisplay, clientDisplay, machine;
        ProcessID expected;
    };
    const std::string remote = "127.0.0.1" + listening.display();
    const Row rows[] = {
        {"the server can't tell", unaware.display(), unaware.display(), machineName(), 4711},
        {"the server can't tell, counted elsewhere", unaware.display(), unaware.display(), "another-machine", 0},
        {"the server can't tell, counted anywhere", unaware.display(), unaware.display(), "", 0},
        {"connected over the network", listening.display(), remote, machineName(), 4711},
        {"connected over the network from elsewhere", listening.display(), remote, "another-machine", 0},
        {"connected over the network from anywhere", listening.display(), remote, "", 0},
        {"connected from here", listening.display(), listening.display(), machineName(), getpid()},
    };
    for (const Row& row : rows) {
        X11WindowServer server({}, row.serverDisplay);
        const Connection client(xcb_connect(row.clientDisplay.c_str(), nullptr));
        ASSERT_EQ(xcb_connection_has_error(client.get()), 0) << row.what;
        const RawWindow window({10, 10, 100, 100}, false, client.get());
        window.claim(4711, row.machine);
        window.show();
        ASSERT_TRUE(waitUntil([&] { return find(server.onScreenWindows(), window.number()); })) << row.what;
        EXPECT_EQ(find(server.onScreenWindows(), window.number())->pid, row.expected) << row.what;
    }
}

TEST_F(X11, MeasuresIdleTime) {
    bool mayBeSecure = false;
    X11InputActivity activity([&] { return mayBeSecure; });
    EXPECT_TRUE(waitUntil([&] { return activity.secondsSinceLastInput() > 0.4; }));
    EXPECT_TRUE(waitUntil([&] {
        outputOf({"xdotool", "mousemove_relative", "--", "3", "3", "mousemove_relative", "--", "-3", "-3"});
        return activity.secondsSinceLastInput() < 0.4;
    }));
    EXPECT_EQ(activity.secureInput(), SecureInput::off);
    mayBeSecure = true;
    EXPECT_EQ(activity.secureInput(), SecureInput::possible);
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
    const Program follower(terminal("comes and goes"));
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
    EXPECT_EQ(X11InputActivity({}, {}, own.display()).secondsSinceLastInput(), 0);
}

TEST(X11ConnectionLoss, EmptiesAnswersAndIsToldOnce) {
    OwnServer own;
    std::atomic<int> serverLost = 0, activityLost = 0, applicationsLost = 0;
    X11WindowServer server([&] { ++serverLost; }, own.display());
    X11InputActivity activity(
        {}, [&] { ++activityLost; }, own.display());
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
        EXPECT_EQ(activity.secondsSinceLastInput(), 0);
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
    ASSERT_TRUE(display);
    const std::string before = display;
    unsetenv("DISPLAY");
    EXPECT_EQ(reasonWith(""), "No display: DISPLAY is not set.");
    setenv("DISPLAY", before.c_str(), 1);
}

} // namespace nomara
