#include "platform/linux/x11/X11ExcludedWindows.h"

#include "platform/linux/x11/X11ScreenImage.h"
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
// Round corners need a dozen. A region of more boxes than this would become larger than the window is.
constexpr int maxShapeBoxes = 256;
constexpr std::uint32_t allDesktops = 0xFFFFFFFF;

bool contains(const std::vector<std::uint32_t>& values, std::uint32_t value) {
    return std::ranges::find(values, value) != values.end();
}

/// Absent where the window is shaped in a way that takes too many boxes.
std::optional<X11Region> shapeOf(const X11TopWindow& top, int border,
                                 const xcb_shape_get_rectangles_reply_t* rectangles) {
    if (top.isOpaque || !rectangles) return X11Region(top.bounds);
    const int count = xcb_shape_get_rectangles_rectangles_length(rectangles);
    if (count > maxShapeBoxes) return std::nullopt;
    X11Region shape;
    for (int i = 0; i < count; ++i) {
        const xcb_rectangle_t& box = xcb_shape_get_rectangles_rectangles(rectangles)[i];
        const int left = top.bounds.left + border + box.x, above = top.bounds.top + border + box.y;
        shape.add(PixelBox{left, above, left + box.width, above + box.height}.intersection(top.bounds));
    }
    return shape;
}

} // namespace

/// A child of the root, as it has answered.
struct X11ExcludedWindows::Asked {
    X11TopWindow top;
    X11Reply<xcb_get_window_attributes_reply_t> attributes;
    X11Reply<xcb_get_geometry_reply_t> geometry;
};

/// A window below a child of the root, whose own children are asked for.
struct X11ExcludedWindows::Level {
    xcb_window_t window = 0;
    std::size_t top = 0; ///< index of the root's child
    xcb_query_tree_cookie_t cookie{};
};

/// A window that tells whose it is: it belongs to another program than what it lies in.
struct X11ExcludedWindows::Speaker {
    xcb_window_t window = 0;
    std::size_t top = 0;
    bool isInside = false; ///< lies within the root's child, and isn't that itself
    bool hasDetails = false;
    X11WindowOwner owner;
    xcb_get_property_cookie_t standsFor{}, state{}, desktop{};
    xcb_get_geometry_cookie_t geometry{};
    xcb_translate_coordinates_cookie_t place{};

    Speaker(const X11Connection& connection, xcb_window_t asked, std::size_t index, bool inside, bool withDetails)
        : window(asked), top(index), isInside(inside), hasDetails(withDetails), owner(connection, asked),
          standsFor(connection.requestProperty(asked, XCB_ATOM_WM_TRANSIENT_FOR)) {
        if (!withDetails) return;
        state = connection.requestProperty(asked, connection.atom(X11Atom::windowState));
        desktop = connection.requestProperty(asked, connection.atom(X11Atom::windowDesktop));
        geometry = xcb_get_geometry(connection.get(), asked);
        place = xcb_translate_coordinates(connection.get(), asked, connection.root(), 0, 0);
    }
};

/// What was learned of a child of the root.
struct X11ExcludedWindows::Verdict {
    struct Client {
        xcb_window_t window = 0;
        ProcessID pid = 0;
        bool isInside = false;
        bool isMinimised = false;
        std::optional<std::uint32_t> desktop;
        PixelBox area;
    };
    bool isExcluded = false;
    std::vector<Client> clients; ///< the root's child itself and other programs' windows in it; with details alone
};

/// What the root tells, and who manages it.
struct X11ExcludedWindows::Desktop {
    std::vector<std::uint32_t> clients; ///< what the window manager looks after; empty without one
    std::optional<std::uint32_t> current;
    std::vector<std::uint32_t> managers; ///< the bases of the numbers of its windows and the compositor's
    std::vector<ProcessID> managerProcesses;
};

X11ExcludedWindows::X11ExcludedWindows(const X11Connection& connection, IdentityResolver resolver)
    : m_connection(connection), m_resolver(std::move(resolver)), m_hasShapes(connection.hasExtension(xcb_shape_id)),
      m_clientMask(xcb_get_setup(connection.get())->resource_id_mask) {}

void X11ExcludedWindows::setFilter(DisplayStreamFilter filter) {
    m_filter = std::move(filter);
    m_excludedProcesses.clear();
}

std::optional<std::vector<X11TopWindow>> X11ExcludedWindows::read() {
    const auto asked = readTops();
    if (!asked) return std::nullopt;
    std::vector<X11TopWindow> tops;
    std::vector<xcb_window_t> shown;
    for (const Asked& each : *asked) {
        tops.push_back(each.top);
        if (each.top.isShown) shown.push_back(each.top.id);
    }
    if (!hasFilter()) return tops;
    const auto verdicts = judge(shown);
    for (X11TopWindow& top : tops)
        if (const auto at = std::ranges::find(shown, top.id); at != shown.end())
            top.isExcluded = verdicts[std::size_t(at - shown.begin())].isExcluded;
    return tops;
}

std::optional<std::vector<X11ComposableWindow>> X11ExcludedWindows::readComposable(xcb_window_t compositor) {
    const auto asked = readTops();
    if (!asked) return std::nullopt;
    const Desktop desktop = readDesktop(compositor);
    std::vector<xcb_window_t> shown;
    std::vector<xcb_shape_get_rectangles_cookie_t> shapes;
    for (const Asked& each : *asked) {
        if (!each.top.isShown) continue;
        shown.push_back(each.top.id);
        if (!each.top.isOpaque)
            shapes.push_back(xcb_shape_get_rectangles(m_connection.get(), each.top.id, XCB_SHAPE_SK_BOUNDING));
    }
    const auto verdicts = judge(shown, true);
    std::vector<X11ComposableWindow> windows;
    auto verdict = verdicts.begin();
    auto shape = shapes.begin();
    bool isComplete = true;
    for (const Asked& each : *asked) {
        X11ComposableWindow& window = windows.emplace_back();
        window.top = each.top;
        if (!each.top.isShown) continue;
        window.top.isExcluded = verdict->isExcluded;
        window.border = each.geometry->border_width;
        window.isBlended = each.geometry->depth == 32;
        X11Reply<xcb_shape_get_rectangles_reply_t> rectangles;
        if (!each.top.isOpaque) {
            rectangles.reset(xcb_shape_get_rectangles_reply(m_connection.get(), *shape++, nullptr));
            isComplete = isComplete && rectangles;
        }
        const auto region = shapeOf(each.top, window.border, rectangles.get());
        window.shape = region.value_or(X11Region(each.top.bounds));
        describe(window, *verdict++, desktop, each.attributes->override_redirect != 0);
        const bool hasPixels = (each.geometry->depth == 24 || each.geometry->depth == 32) &&
                               hasKnownPixels(m_connection, each.attributes->visual);
        if (window.role == X11ComposableWindow::Role::seen && (!region || !hasPixels))
            window.role = X11ComposableWindow::Role::black;
    }
    if (!isComplete) return std::nullopt;
    return windows;
}

bool X11ExcludedWindows::isAnyOpen() {
    if (!hasFilter()) return false;
    const auto windows = X11Connection::numbers(m_connection.property(
        m_connection.requestProperty(m_connection.root(), m_connection.atom(X11Atom::clientList))));
    return std::ranges::any_of(judge(windows), &Verdict::isExcluded);
}

bool X11ExcludedWindows::isExcluded(xcb_window_t window) {
    return hasFilter() && judge({window}).front().isExcluded;
}

std::optional<std::vector<X11ExcludedWindows::Asked>> X11ExcludedWindows::readTops() const {
    struct Cookies {
        xcb_window_t window = 0;
        xcb_get_window_attributes_cookie_t attributes{};
        xcb_get_geometry_cookie_t geometry{};
        xcb_shape_query_extents_cookie_t shape{};
    };
    xcb_connection_t* const server = m_connection.get();
    const X11Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(server, xcb_query_tree(server, m_connection.root()), nullptr));
    if (!tree) return std::nullopt;
    std::vector<Cookies> requests;
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        const xcb_window_t window = xcb_query_tree_children(tree.get())[i];
        requests.push_back(
            {window, xcb_get_window_attributes(server, window), xcb_get_geometry(server, window),
             m_hasShapes ? xcb_shape_query_extents(server, window) : xcb_shape_query_extents_cookie_t{}});
    }
    std::vector<Asked> answers;
    bool isComplete = true;
    for (const Cookies& each : requests) {
        Asked asked;
        asked.attributes.reset(xcb_get_window_attributes_reply(server, each.attributes, nullptr));
        asked.geometry.reset(xcb_get_geometry_reply(server, each.geometry, nullptr));
        const X11Reply<xcb_shape_query_extents_reply_t> shape(
            m_hasShapes ? xcb_shape_query_extents_reply(server, each.shape, nullptr) : nullptr);
        if (!asked.attributes || !asked.geometry || (m_hasShapes && !shape)) {
            isComplete = false; // the other answers are still fetched, or they would pile up
            continue;
        }
        const int border = 2 * asked.geometry->border_width;
        asked.top.id = each.window;
        asked.top.bounds = {asked.geometry->x, asked.geometry->y, asked.geometry->x + asked.geometry->width + border,
                            asked.geometry->y + asked.geometry->height + border};
        asked.top.isShown = asked.attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
                            asked.attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
        asked.top.isOpaque = !shape || shape->bounding_shaped == 0;
        answers.push_back(std::move(asked));
    }
    if (!isComplete) return std::nullopt;
    return answers;
}

// Level by level, the requests of a level under way together.
std::vector<X11ExcludedWindows::Verdict> X11ExcludedWindows::judge(const std::vector<xcb_window_t>& windows,
                                                                   bool withDetails) {
    std::vector<Verdict> verdicts(windows.size());
    std::vector<std::vector<ProcessID>> processes(windows.size());
    std::vector<bool> isKnown(windows.size(), false);
    std::vector<Speaker> speakers;
    std::vector<Level> levels;
    const auto look = [&](xcb_window_t window, std::size_t top) {
        if (contains(m_filter.excludedWindows, window)) verdicts[top].isExcluded = true;
        levels.push_back({window, top, xcb_query_tree(m_connection.get(), window)});
    };
    for (std::size_t i = 0; i < windows.size(); ++i) {
        look(windows[i], i);
        speakers.emplace_back(m_connection, windows[i], i, false, withDetails);
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
            if (count > maxWindows) verdicts[level.top].isExcluded = true;
            for (int i = 0; i < xcb_query_tree_children_length(tree.get()) && count <= maxWindows; ++i) {
                if (depth + 1 < maxDepth) look(children[i], level.top);
                if ((children[i] & ~m_clientMask) != (level.window & ~m_clientMask))
                    speakers.emplace_back(m_connection, children[i], level.top, true, withDetails);
            }
        }
        for (Speaker& speaker : telling) {
            const WindowOwner owner = speaker.owner.answer();
            const auto other = X11Connection::number(m_connection.property(speaker.standsFor));
            if (speaker.hasDetails) addClient(verdicts[speaker.top], speaker, owner.pid);
            if (owner.pid > 0) processes[speaker.top].push_back(owner.pid);
            if (owner.pid > 0 || !owner.className.empty()) isKnown[speaker.top] = true;
            if (isExcludedOwner(owner)) verdicts[speaker.top].isExcluded = true;
            if (other && *other != XCB_WINDOW_NONE && *other != m_connection.root())
                speakers.emplace_back(m_connection, *other, speaker.top, false, false);
        }
    }

    // A later window may have told what an earlier one of the same process kept to itself.
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const auto isTold = [this](ProcessID pid) { return m_excludedProcesses.contains(pid); };
        if (!isKnown[i] || std::ranges::any_of(processes[i], isTold)) verdicts[i].isExcluded = true;
    }
    return verdicts;
}

void X11ExcludedWindows::addClient(Verdict& verdict, const Speaker& speaker, ProcessID pid) const {
    Verdict::Client client{speaker.window, pid, speaker.isInside, false, {}, {}};
    const auto states = X11Connection::numbers(m_connection.property(speaker.state));
    client.isMinimised = contains(states, m_connection.atom(X11Atom::stateHidden));
    client.desktop = X11Connection::number(m_connection.property(speaker.desktop));
    const X11Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(m_connection.get(), speaker.geometry, nullptr));
    const X11Reply<xcb_translate_coordinates_reply_t> place(
        xcb_translate_coordinates_reply(m_connection.get(), speaker.place, nullptr));
    if (geometry && place)
        client.area = {place->dst_x, place->dst_y, place->dst_x + geometry->width, place->dst_y + geometry->height};
    verdict.clients.push_back(client);
}

X11ExcludedWindows::Desktop X11ExcludedWindows::readDesktop(xcb_window_t compositor) const {
    const auto request = [&](X11Atom name) {
        return m_connection.requestProperty(m_connection.root(), m_connection.atom(name));
    };
    const auto clients = request(X11Atom::clientList);
    const auto current = request(X11Atom::currentDesktop);
    const auto manager = request(X11Atom::supportingCheck);
    Desktop desktop;
    desktop.clients = X11Connection::numbers(m_connection.property(clients));
    desktop.current = X11Connection::number(m_connection.property(current));
    std::vector<xcb_window_t> windows{compositor};
    if (const auto window = X11Connection::number(m_connection.property(manager))) windows.push_back(*window);
    std::vector<X11WindowProcess> processes;
    for (const xcb_window_t window : windows) {
        if (window == XCB_WINDOW_NONE) continue;
        desktop.managers.push_back(window & ~m_clientMask);
        processes.emplace_back(m_connection, window);
    }
    for (X11WindowProcess& process : processes)
        if (const ProcessID pid = process.pid(); pid > 0) desktop.managerProcesses.push_back(pid);
    return desktop;
}

// What the window manager and the compositor show on their own leaves no trace: it may be a picture of any window.
// Their frames are the windows in them. What is minimised or on another desktop may be drawn all the same where there
// is a compositor, but nobody sees it.
void X11ExcludedWindows::describe(X11ComposableWindow& window, const Verdict& verdict, const Desktop& desktop,
                                  bool isOverride) const {
    using Role = X11ComposableWindow::Role;
    const auto isManagers = [&](const Verdict::Client& client) {
        return contains(desktop.managers, client.window & ~m_clientMask) ||
               std::ranges::find(desktop.managerProcesses, client.pid) != desktop.managerProcesses.end();
    };
    bool isOwn = false, isListed = false, isAway = true;
    for (const Verdict::Client& client : verdict.clients) {
        const bool isOfManager = isManagers(client);
        if (!client.isInside) {
            window.pid = client.pid;
            isOwn = isOfManager;
        } else if (!isOfManager) {
            if (window.clients.empty()) window.pid = client.pid;
            window.clients.push_back(client.window);
        }
        if (contains(desktop.clients, client.window)) {
            isListed = true;
            window.pid = client.pid;
            const bool isHere = !desktop.current || !client.desktop || *client.desktop == allDesktops ||
                                *client.desktop == *desktop.current;
            isAway = isAway && (client.isMinimised || !isHere);
        }
        if (client.isInside && !isOfManager) window.painted.add(client.area.intersection(window.top.bounds));
    }
    if (!isOwn) window.painted = X11Region(window.top.bounds);
    const bool isUnknown = !isListed && !isOverride && !desktop.clients.empty();
    if ((isOwn && window.clients.empty()) || (isListed && isAway))
        window.role = Role::absent;
    else if (verdict.isExcluded || isUnknown)
        window.role = Role::black;
    else
        window.role = Role::seen;
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
