#include "platform/linux/x11/X11ExcludedWindows.h"

#include "platform/linux/x11/X11WindowOwner.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <xcb/shape.h>

namespace nomara {

namespace {

// A program's window lies in a frame of the window manager, with some in two, and may hold windows of others in turn.
constexpr int maxDepth = 5;
// Programs of old have a window for each of their buttons. What lies in more than this many is taken as unknown.
constexpr std::size_t maxWindows = 4'000;

struct Asked {
    xcb_window_t window = 0;
    xcb_get_window_attributes_cookie_t attributes{};
    xcb_get_geometry_cookie_t geometry{};
    xcb_shape_query_extents_cookie_t shape{};
};

} // namespace

/// A window below a child of the root, whose own children are asked for.
struct X11ExcludedWindows::Level {
    xcb_window_t window = 0;
    std::size_t top = 0; ///< index of the root's child
    xcb_query_tree_cookie_t cookie{};
};

/// A window that tells whose it is: it belongs to another program than what it lies in.
struct X11ExcludedWindows::Speaker {
    std::size_t top = 0;
    X11WindowOwner owner;
    xcb_get_property_cookie_t standsFor{};

    Speaker(const X11Connection& connection, xcb_window_t window, std::size_t index)
        : top(index), owner(connection, window),
          standsFor(connection.requestProperty(window, XCB_ATOM_WM_TRANSIENT_FOR)) {}
};

X11ExcludedWindows::X11ExcludedWindows(const X11Connection& connection, IdentityResolver resolver)
    : m_connection(connection), m_resolver(std::move(resolver)), m_hasShapes(connection.hasExtension(xcb_shape_id)),
      m_clientMask(xcb_get_setup(connection.get())->resource_id_mask) {}

void X11ExcludedWindows::setFilter(DisplayStreamFilter filter) {
    m_filter = std::move(filter);
    m_excludedProcesses.clear();
}

std::optional<std::vector<X11TopWindow>> X11ExcludedWindows::read() {
    xcb_connection_t* const server = m_connection.get();
    const X11Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(server, xcb_query_tree(server, m_connection.root()), nullptr));
    if (!tree) return std::nullopt;
    std::vector<Asked> asked;
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        const xcb_window_t window = xcb_query_tree_children(tree.get())[i];
        asked.push_back({window, xcb_get_window_attributes(server, window), xcb_get_geometry(server, window),
                         m_hasShapes ? xcb_shape_query_extents(server, window) : xcb_shape_query_extents_cookie_t{}});
    }
    std::vector<X11TopWindow> answers;
    bool isComplete = true;
    for (const Asked& each : asked) {
        const X11Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(server, each.attributes, nullptr));
        const X11Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(server, each.geometry, nullptr));
        const X11Reply<xcb_shape_query_extents_reply_t> shape(
            m_hasShapes ? xcb_shape_query_extents_reply(server, each.shape, nullptr) : nullptr);
        if (!attributes || !geometry || (m_hasShapes && !shape)) {
            isComplete = false; // the other answers are still fetched, or they would pile up
            continue;
        }
        const int border = 2 * geometry->border_width;
        X11TopWindow top;
        top.id = each.window;
        top.bounds = {geometry->x, geometry->y, geometry->x + geometry->width + border,
                      geometry->y + geometry->height + border};
        top.isShown =
            attributes->map_state == XCB_MAP_STATE_VIEWABLE && attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
        top.isOpaque = !shape || shape->bounding_shaped == 0;
        answers.push_back(top);
    }
    if (!isComplete) return std::nullopt;
    if (!hasFilter()) return answers;

    std::vector<xcb_window_t> shown;
    for (const X11TopWindow& top : answers)
        if (top.isShown) shown.push_back(top.id);
    const auto excluded = judge(shown);
    for (X11TopWindow& top : answers)
        if (const auto at = std::ranges::find(shown, top.id); at != shown.end())
            top.isExcluded = excluded[std::size_t(at - shown.begin())];
    return answers;
}

bool X11ExcludedWindows::isAnyOpen() {
    if (!hasFilter()) return false;
    const auto windows = X11Connection::numbers(m_connection.property(
        m_connection.requestProperty(m_connection.root(), m_connection.atom(X11Atom::clientList))));
    const auto excluded = judge(windows);
    return std::ranges::find(excluded, true) != excluded.end();
}

bool X11ExcludedWindows::isExcluded(xcb_window_t window) {
    return hasFilter() && judge({window}).front();
}

// Level by level, the requests of a level under way together.
std::vector<bool> X11ExcludedWindows::judge(const std::vector<xcb_window_t>& windows) {
    std::vector<bool> excluded(windows.size(), false);
    std::vector<std::vector<ProcessID>> processes(windows.size());
    std::vector<bool> isKnown(windows.size(), false);
    std::vector<Speaker> speakers;
    std::vector<Level> levels;
    const auto look = [&](xcb_window_t window, std::size_t top) {
        if (std::ranges::find(m_filter.excludedWindows, window) != m_filter.excludedWindows.end()) excluded[top] = true;
        levels.push_back({window, top, xcb_query_tree(m_connection.get(), window)});
    };
    for (std::size_t i = 0; i < windows.size(); ++i) {
        look(windows[i], i);
        speakers.emplace_back(m_connection, windows[i], i);
    }

    std::size_t count = levels.size();
    for (int depth = 0; depth < maxDepth && (!speakers.empty() || !levels.empty()); ++depth) {
        const auto asked = std::exchange(levels, {});
        auto telling = std::exchange(speakers, {});
        for (const Level& level : asked) {
            const X11Reply<xcb_query_tree_reply_t> tree(
                xcb_query_tree_reply(m_connection.get(), level.cookie, nullptr));
            if (!tree) continue; // gone; the children of the root are asked for once more before it matters
            const xcb_window_t* const children = xcb_query_tree_children(tree.get());
            count += tree->children_len;
            if (count > maxWindows) excluded[level.top] = true;
            for (int i = 0; i < xcb_query_tree_children_length(tree.get()) && count <= maxWindows; ++i) {
                if (depth + 1 < maxDepth) look(children[i], level.top);
                if ((children[i] & ~m_clientMask) != (level.window & ~m_clientMask))
                    speakers.emplace_back(m_connection, children[i], level.top);
            }
        }
        for (Speaker& speaker : telling) {
            const WindowOwner owner = speaker.owner.answer();
            const auto other = X11Connection::number(m_connection.property(speaker.standsFor));
            if (owner.pid > 0) processes[speaker.top].push_back(owner.pid);
            if (owner.pid > 0 || !owner.className.empty()) isKnown[speaker.top] = true;
            if (isExcludedOwner(owner)) excluded[speaker.top] = true;
            if (other && *other != XCB_WINDOW_NONE && *other != m_connection.root())
                speakers.emplace_back(m_connection, *other, speaker.top);
        }
    }

    // A later window may have told what an earlier one of the same process kept to itself.
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const auto isTold = [this](ProcessID pid) { return m_excludedProcesses.contains(pid); };
        if (!isKnown[i] || std::ranges::any_of(processes[i], isTold)) excluded[i] = true;
    }
    return excluded;
}

bool X11ExcludedWindows::isExcludedOwner(const WindowOwner& owner) {
    if (m_filter.excludedApplications.empty() || !m_resolver) return false;
    const auto identity = m_resolver(owner);
    const auto isListed = [this](const std::string& bundleID) {
        return std::ranges::find(m_filter.excludedApplications, bundleID) != m_filter.excludedApplications.end();
    };
    // What a window only may be says nothing about the others of its process.
    if (identity.bundleID && isListed(*identity.bundleID) && owner.pid > 0) m_excludedProcesses.insert(owner.pid);
    return isOrMayBe(identity, isListed);
}

} // namespace nomara
