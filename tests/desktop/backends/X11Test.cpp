#include "tests/desktop/backends/X11Test.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include <unistd.h>

namespace nomara {

namespace {

std::vector<std::string> serverCommand(const std::vector<std::string>& options) {
    std::vector<std::string> words = {"Xvfb",       "-displayfd", "1",   "-screen", "0",
                                      "640x480x24", "-nolisten",  "tcp", "-noreset"};
    words.insert(words.end(), options.begin(), options.end());
    return words;
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

} // namespace

xcb_connection_t* sharedConnection() {
    static const Connection connection(xcb_connect(nullptr, nullptr));
    return connection.get();
}

RawWindow::RawWindow(Rect bounds, bool isOverride, xcb_connection_t* connection) : m_connection(connection) {
    const auto* screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
    m_window = xcb_generate_id(m_connection);
    const std::uint32_t values[] = {screen->white_pixel, isOverride ? 1U : 0U};
    xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, screen->root, std::int16_t(bounds.x),
                      std::int16_t(bounds.y), std::uint16_t(bounds.width), std::uint16_t(bounds.height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT,
                      values);
}

RawWindow::~RawWindow() {
    xcb_destroy_window(m_connection, m_window);
    xcb_flush(m_connection);
}

xcb_atom_t RawWindow::atom(std::string_view name) const {
    auto* reply = xcb_intern_atom_reply(
        m_connection, xcb_intern_atom(m_connection, 0, std::uint16_t(name.size()), name.data()), nullptr);
    const xcb_atom_t atom = reply->atom;
    std::free(reply); // NOLINT: xcb allocates with malloc
    return atom;
}

void RawWindow::setText(std::string_view property, xcb_atom_t type, std::string_view text) const {
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, atom(property), type, 8,
                        std::uint32_t(text.size()), text.data());
}

void RawWindow::setNumbers(std::string_view property, xcb_atom_t type,
                           const std::vector<std::uint32_t>& numbers) const {
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, atom(property), type, 32,
                        std::uint32_t(numbers.size()), numbers.data());
}

void RawWindow::setClass(std::string_view instance, std::string_view name) const {
    std::string both(instance);
    both.append(1, '\0').append(name).append(1, '\0');
    setText("WM_CLASS", XCB_ATOM_STRING, both);
}

void RawWindow::claim(ProcessID pid, std::string_view machine) const {
    setNumbers("_NET_WM_PID", XCB_ATOM_CARDINAL, {std::uint32_t(pid)});
    if (!machine.empty()) setText("WM_CLIENT_MACHINE", XCB_ATOM_STRING, machine);
}

void RawWindow::show() const {
    xcb_map_window(m_connection, m_window);
    xcb_flush(m_connection);
}

void RawWindow::takeFocus() const {
    xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_POINTER_ROOT, m_window, XCB_CURRENT_TIME);
    xcb_flush(m_connection);
}

OwnServer::OwnServer(const std::vector<std::string>& options)
    : m_program(serverCommand(options), {}, DesktopProgram::Streams::piped), m_display(":" + m_program.readLine()) {}

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

std::vector<std::string> terminal(const std::string& title, const std::string& geometry) {
    return {"xterm", "-T", title, "-geometry", geometry, "-e", "sleep", "1000"};
}

Rect contentByOtherPrograms(std::uint32_t number) {
    const std::string told = outputOf({"xwininfo", "-id", std::to_string(number)});
    return {numberAfter(told, "Absolute upper-left X:"), numberAfter(told, "Absolute upper-left Y:"),
            numberAfter(told, "Width:"), numberAfter(told, "Height:")};
}

Rect frameByOtherPrograms(std::uint32_t number) {
    const Rect content = contentByOtherPrograms(number);
    // left, right, top, bottom
    const std::string around = outputOf({"xprop", "-id", std::to_string(number), "_NET_FRAME_EXTENTS"});
    const auto extent = [&](std::size_t i) { return numberAfter(around, "= ", i); };
    return {content.x - extent(0), content.y - extent(2), content.width + extent(0) + extent(1),
            content.height + extent(2) + extent(3)};
}

} // namespace nomara
