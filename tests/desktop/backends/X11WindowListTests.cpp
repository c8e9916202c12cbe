#include "tests/desktop/backends/X11Test.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

TEST_F(X11, TellsWhatAWindowIs) {
    const DesktopProgram program(terminal("plain window"));
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

    EXPECT_EQ(find(server.onScreenWindows(), window.number)->content, contentByOtherPrograms(window.number));
    EXPECT_EQ(window.instanceName, "xterm");
    EXPECT_EQ(window.className, "XTerm");
    EXPECT_EQ(window.role, "");

    outputOf({"xdotool", "set_window", "--name", "Grüße ✓ ışık", std::to_string(window.number)});
    EXPECT_TRUE(appears("Grüße ✓ ışık"));
}

TEST_F(X11, OrdersWindowsFrontToBackAndLeavesOutWhatIsNotSeen) {
    const DesktopProgram first(terminal("first")), second(terminal("second"));
    ASSERT_TRUE(appears("first") && appears("second"));
    const std::string one = std::to_string(find(server.onScreenWindows(), "first")->number);
    const auto isBefore = [&](std::string_view a, std::string_view b) {
        const auto windows = server.onScreenWindows();
        return place(windows, a) < place(windows, b) && place(windows, b) < windows.size();
    };
    outputOf({"xdotool", "windowactivate", "--sync", one});
    EXPECT_TRUE(waitUntil([&] { return isBefore("first", "second"); }));
    const auto isActive = [&](std::string_view title, bool wanted) {
        const auto window = find(server.onScreenWindows(), title);
        return window && window->isActive == wanted;
    };
    EXPECT_TRUE(waitUntil([&] { return isActive("first", true) && isActive("second", false); }));
    outputOf({"wmctrl", "-a", "second"});
    EXPECT_TRUE(waitUntil([&] { return isBefore("second", "first"); }));
    EXPECT_TRUE(waitUntil([&] { return isActive("second", true) && isActive("first", false); }));

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
        return window && window->bounds && window->bounds->height < 60 && !window->content;
    })) << "a window that is rolled up still shows its title, and nothing else";
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

TEST_F(X11, TellsTheClassAndTheRoleWhateverTheyHold) {
    const RawWindow window({50, 50, 200, 100});
    window.show();
    struct Row {
        std::string what, bytes, instanceName, className;
    };
    const Row rows[] = {
        {"both", std::string("one\0Two\0", 8), "one", "Two"},
        {"no last zero", std::string("one\0Two", 7), "one", "Two"},
        {"one half", "alone", "alone", ""},
        {"more than two", std::string("one\0Two\0three\0", 14), "one", "Two"},
        {"not UTF-8", std::string("a\xff\0b", 4), "a\xEF\xBF\xBD", "b"},
        {"empty", "", "", ""},
    };
    for (const Row& row : rows) {
        window.setText("WM_CLASS", XCB_ATOM_STRING, row.bytes);
        window.setText("WM_WINDOW_ROLE", XCB_ATOM_STRING, row.what);
        window.show();
        EXPECT_TRUE(waitUntil([&] {
            const auto seen = find(server.onScreenWindows(), window.number());
            return seen && seen->role == row.what && seen->instanceName == row.instanceName &&
                   seen->className == row.className;
        })) << row.what;
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
    EXPECT_EQ(shown.content, frame) << "its program draws the shadow and what is inside";
    EXPECT_EQ(shown.opacity, 1) << "nobody is there to make it transparent";
    xcb_set_selection_owner(sharedConnection(), plain.number(), plain.atom("_NET_WM_CM_S0"), XCB_CURRENT_TIME);
    xcb_flush(sharedConnection());
    EXPECT_TRUE(
        waitUntil([&] { return std::abs(find(server.onScreenWindows(), plain.number())->opacity - 0.5) < 0.001; }));
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
        ASSERT_TRUE(waitUntil([&] { return find(server.onScreenWindows(), window.number()).has_value(); })) << row.what;
        EXPECT_EQ(find(server.onScreenWindows(), window.number())->pid, row.expected) << row.what;
    }
}

// A window manager tells that it puts a window away before it does so. Only a compositor keeps windows that nobody
// sees.
TEST(X11WindowList, NamesWhatIsDrawnThoughItIsSaidToBePutAway) {
    const OwnServer own;
    const Connection client(xcb_connect(own.display().c_str(), nullptr));
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(client.get())).data->root;
    const RawWindow here({0, 0, 100, 100}, false, client.get()), elsewhere({100, 0, 100, 100}, false, client.get()),
        minimised({200, 0, 100, 100}, false, client.get()), compositor({0, 0, 1, 1}, true, client.get());
    const auto tell = [&](std::string_view name, xcb_atom_t type, const std::vector<std::uint32_t>& values) {
        xcb_change_property(client.get(), XCB_PROP_MODE_REPLACE, root, here.atom(name), type, 32,
                            std::uint32_t(values.size()), values.data());
    };
    tell("_NET_CLIENT_LIST_STACKING", XCB_ATOM_WINDOW, {here.number(), elsewhere.number(), minimised.number()});
    tell("_NET_CURRENT_DESKTOP", XCB_ATOM_CARDINAL, {0});
    here.setNumbers("_NET_WM_DESKTOP", XCB_ATOM_CARDINAL, {0});
    elsewhere.setNumbers("_NET_WM_DESKTOP", XCB_ATOM_CARDINAL, {1});
    minimised.setNumbers("_NET_WM_STATE", XCB_ATOM_ATOM, {minimised.atom("_NET_WM_STATE_HIDDEN")});
    for (const RawWindow* window : {&here, &elsewhere, &minimised})
        window->show();
    X11WindowServer server({}, own.display());
    EXPECT_TRUE(waitUntil([&] { return server.onScreenWindows().size() == 3; }));

    xcb_set_selection_owner(client.get(), compositor.number(), here.atom("_NET_WM_CM_S0"), XCB_CURRENT_TIME);
    xcb_flush(client.get());
    EXPECT_TRUE(waitUntil([&] { return server.onScreenWindows().size() == 1; }));
    EXPECT_TRUE(find(server.onScreenWindows(), here.number()));
}

// The server gives the numbers of a program that has gone to the next one.
TEST_F(X11, TellsAWindowFromTheNextOneWithItsNumber) {
    const OwnServer own;
    X11WindowServer watching({}, own.display());
    std::vector<std::uint32_t> numbers;
    std::vector<std::uint64_t> lives;
    for (int i = 0; i < 2; ++i) {
        const Connection program(xcb_connect(own.display().c_str(), nullptr));
        const RawWindow window({10, 10, 200, 100}, false, program.get());
        window.show();
        std::optional<WindowInfo> seen;
        ASSERT_TRUE(waitUntil([&] { return (seen = find(watching.onScreenWindows(), window.number())).has_value(); }));
        numbers.push_back(seen->number);
        lives.push_back(seen->life);
        EXPECT_EQ(find(watching.onScreenWindows(), window.number())->life, seen->life);
        EXPECT_TRUE(watching.isWindowAlive(seen->number, seen->life));
        EXPECT_EQ(watching.isWindowAlive(numbers[0], lives[0]), i == 0);
    }
    ASSERT_EQ(numbers[0], numbers[1]);
    EXPECT_NE(lives[0], lives[1]);
    EXPECT_TRUE(waitUntil([&] { return !watching.isWindowAlive(numbers[1], lives[1]); }));
}

TEST_F(X11, AWindowLivesUntilItIsDestroyed) {
    std::optional<WindowInfo> seen;
    {
        const RawWindow window({300, 300, 200, 150});
        window.show();
        // The window manager puts it into a frame, which goes when it is put away.
        ASSERT_TRUE(waitUntil([&] {
            seen = find(server.onScreenWindows(), window.number());
            return seen && seen->bounds == frameByOtherPrograms(window.number());
        }));
        outputOf({"xdotool", "windowminimize", std::to_string(window.number())});
        ASSERT_TRUE(waitUntil([&] { return !find(server.onScreenWindows(), window.number()); }));
        EXPECT_TRUE(server.isWindowAlive(seen->number, seen->life)) << "put away";
        outputOf({"xdotool", "windowactivate", std::to_string(window.number())});
        ASSERT_TRUE(waitUntil([&] { return find(server.onScreenWindows(), window.number()).has_value(); }));
        EXPECT_EQ(find(server.onScreenWindows(), window.number())->life, seen->life);
    }
    EXPECT_TRUE(waitUntil([&] { return !server.isWindowAlive(seen->number, seen->life); }));
}

TEST_F(X11, TellsWhatAPopupWasOpenedFrom) {
    const RawWindow parent({50, 50, 400, 300});
    parent.show();
    const struct {
        const char* type;
        std::uint32_t transientFor;
        std::uint32_t expected;
    } rows[] = {
        {"_NET_WM_WINDOW_TYPE_POPUP_MENU", parent.number(), parent.number()},
        {"_NET_WM_WINDOW_TYPE_TOOLTIP", parent.number(), parent.number()},
        {"_NET_WM_WINDOW_TYPE_DND", parent.number(), 0},
        {"_NET_WM_WINDOW_TYPE_POPUP_MENU", xcb_setup_roots_iterator(xcb_get_setup(sharedConnection())).data->root, 0},
    };
    for (const auto& row : rows) {
        const RawWindow popup({100, 100, 80, 60}, true);
        popup.setType(row.type);
        popup.setNumbers("WM_TRANSIENT_FOR", XCB_ATOM_WINDOW, {row.transientFor});
        popup.show();
        std::optional<WindowInfo> seen;
        ASSERT_TRUE(waitUntil([&] { return (seen = find(server.onScreenWindows(), popup.number())).has_value(); }));
        EXPECT_EQ(seen->parent, row.expected) << row.type;
        EXPECT_GT(seen->layer, 0) << row.type;
    }
}

} // namespace nomara
