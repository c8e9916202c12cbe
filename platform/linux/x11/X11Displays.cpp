#include "platform/linux/x11/X11Displays.h"

#include "core/base/Hash.h"
#include "core/text/Graphemes.h"
#include "platform/linux/x11/X11Connection.h"

#include <algorithm>
#include <string_view>

#include <xcb/randr.h>

namespace nomara {

namespace {

// Ids are kept with what was seen, so they come from the output's name, not from its number of the day.
DisplayID idOf(std::string_view name) {
    const std::uint64_t hash = fnv1a(name);
    const auto id = static_cast<DisplayID>(hash ^ (hash >> 32));
    return id == 0 ? 1 : id; // 0 means no display
}

bool hasMonitors(const X11Connection& connection) {
    if (!connection.hasExtension(xcb_randr_id)) return false;
    const X11Reply<xcb_randr_query_version_reply_t> version(
        xcb_randr_query_version_reply(connection.get(), xcb_randr_query_version(connection.get(), 1, 5), nullptr));
    return version && (version->major_version > 1 || version->minor_version >= 5);
}

struct Monitor {
    Display display;
    bool isPrimary = false;
};

std::vector<Monitor> monitors(const X11Connection& connection) {
    std::vector<Monitor> found;
    if (!hasMonitors(connection)) return found;
    xcb_connection_t* const server = connection.get();
    const X11Reply<xcb_randr_get_monitors_reply_t> reply(
        xcb_randr_get_monitors_reply(server, xcb_randr_get_monitors(server, connection.root(), 1), nullptr));
    if (!reply) return found;
    std::vector<xcb_get_atom_name_cookie_t> names;
    for (auto i = xcb_randr_get_monitors_monitors_iterator(reply.get()); i.rem > 0; xcb_randr_monitor_info_next(&i)) {
        const auto& info = *i.data;
        const Rect bounds{double(info.x), double(info.y), double(info.width), double(info.height)};
        found.push_back({{0, "", bounds, 1, false}, info.primary != 0});
        names.push_back(xcb_get_atom_name(server, info.name));
    }
    for (std::size_t i = 0; i < found.size(); ++i) {
        const X11Reply<xcb_get_atom_name_reply_t> name(xcb_get_atom_name_reply(server, names[i], nullptr));
        Display& display = found[i].display;
        if (name)
            display.name = Graphemes::validUTF8(
                {xcb_get_atom_name_name(name.get()), std::size_t(xcb_get_atom_name_name_length(name.get()))});
        display.id = idOf(display.name);
    }
    std::erase_if(found, [](const Monitor& monitor) { return monitor.display.bounds.isEmpty(); });
    return found;
}

// What a server without monitors shows.
std::vector<Display> wholeScreen(const X11Connection& connection) {
    const X11Reply<xcb_get_geometry_reply_t> root(
        xcb_get_geometry_reply(connection.get(), xcb_get_geometry(connection.get(), connection.root()), nullptr));
    if (!root) return {};
    return {{idOf("screen"), "screen", {0, 0, double(root->width), double(root->height)}, 1, true}};
}

} // namespace

std::vector<Display> readX11Displays(X11Connection& connection) {
    const auto found = monitors(connection);
    if (found.empty()) {
        auto screen = wholeScreen(connection);
        return connection.isAlive() ? screen : std::vector<Display>{};
    }
    if (!connection.isAlive()) return {};
    auto main = std::ranges::find_if(found, &Monitor::isPrimary);
    if (main == found.end())
        main = std::ranges::find_if(
            found, [](const Monitor& m) { return m.display.bounds.x == 0 && m.display.bounds.y == 0; });
    if (main == found.end()) main = found.begin();
    std::vector<Display> answer;
    for (auto monitor = found.begin(); monitor != found.end(); ++monitor) {
        answer.push_back(monitor->display);
        answer.back().isMain = monitor == main;
    }
    return answer;
}

} // namespace nomara
