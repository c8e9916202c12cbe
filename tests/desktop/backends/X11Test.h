#pragma once

#include "platform/linux/x11/X11WindowServer.h"
#include "tests/desktop/backends/DesktopProgram.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <xcb/xcb.h>

namespace nomara {

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

/// One for all tests: the server gives the numbers of a client's windows to the next client, and a window manager that
/// is busy takes a new window for the old one.
xcb_connection_t* sharedConnection();

/// A window that the test itself describes.
class RawWindow {
public:
    explicit RawWindow(Rect bounds, bool isOverride = false, xcb_connection_t* connection = sharedConnection());
    ~RawWindow();
    RawWindow(const RawWindow&) = delete;
    RawWindow& operator=(const RawWindow&) = delete;

    std::uint32_t number() const { return m_window; }
    xcb_atom_t atom(std::string_view name) const;
    void setText(std::string_view property, xcb_atom_t type, std::string_view text) const;
    void setNumbers(std::string_view property, xcb_atom_t type, const std::vector<std::uint32_t>& numbers) const;
    void setType(std::string_view type) const { setNumbers("_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, {atom(type)}); }
    void setClass(std::string_view instance, std::string_view name) const;
    void claim(ProcessID pid, std::string_view machine) const;
    void show() const;
    /// Gives it the keyboard once it is shown.
    void takeFocus() const;

private:
    xcb_connection_t* m_connection;
    xcb_window_t m_window = 0;
};

/// A display server of the test's own, without a window manager.
class OwnServer {
public:
    explicit OwnServer(const std::vector<std::string>& options = {});
    const std::string& display() const { return m_display; }
    void end() { m_program.end(); }

private:
    DesktopProgram m_program;
    std::string m_display;
};

std::string machineName();
std::optional<WindowInfo> find(const std::vector<WindowInfo>& windows, std::string_view title);
std::optional<WindowInfo> find(const std::vector<WindowInfo>& windows, std::uint32_t number);
std::size_t place(const std::vector<WindowInfo>& windows, std::string_view title);
/// The command of a terminal with this title.
std::vector<std::string> terminal(const std::string& title, const std::string& geometry = "40x10+100+100");
/// What other programs say about a window: where its own area lies, and with the decorations around it.
Rect contentByOtherPrograms(std::uint32_t number);
Rect frameByOtherPrograms(std::uint32_t number);

class X11 : public testing::Test {
protected:
    bool appears(std::string_view title) {
        return waitUntil([&] { return find(server.onScreenWindows(), title).has_value(); });
    }
    bool disappears(std::string_view title) {
        return waitUntil([&] { return !find(server.onScreenWindows(), title).has_value(); });
    }
    X11WindowServer server;
};

} // namespace nomara
