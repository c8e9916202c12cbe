#include "platform/linux/x11/X11WindowList.h"

#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11WindowOwner.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <unordered_map>
#include <utility>

namespace nomara {

namespace {

// Only their order matters; ordinary windows have 0.
constexpr int dockLayer = 20;
constexpr int notificationLayer = 25;
constexpr int menuLayer = 101;
constexpr int tooltipLayer = 102;

// Window managers put a window into one frame, some into two.
constexpr int maxFrames = 4;

constexpr std::uint32_t allDesktops = 0xFFFFFFFF;

/// A child of the root: what is stacked and shown.
struct TopLevel {
    xcb_window_t window = 0;
    std::size_t height = 0; ///< 0 lies at the bottom
    xcb_get_window_attributes_cookie_t attributesCookie{};
    xcb_get_geometry_cookie_t geometryCookie{};
    bool isViewable = false; ///< drawn, and not a window for input alone
    bool isOverride = false; ///< placed by its program: menus, tips, and the frames of window managers
    bool isFrame = false;    ///< a window that the window manager looks after lies in it
    Rect bounds;
};

/// What a window tells about itself; all requests are under way once it is made.
struct Asked {
    xcb_window_t window = 0;
    xcb_get_window_attributes_cookie_t attributes{};
    X11WindowOwner owner;
    xcb_get_geometry_cookie_t geometry{};
    xcb_translate_coordinates_cookie_t place{};
    xcb_get_property_cookie_t parent{}, type{}, state{}, desktop{}, opacity{}, shadow{};

    Asked(const X11Connection& connection, xcb_window_t asked)
        : window(asked), attributes(xcb_get_window_attributes(connection.get(), asked)), owner(connection, asked),
          geometry(xcb_get_geometry(connection.get(), asked)),
          place(xcb_translate_coordinates(connection.get(), asked, connection.root(), 0, 0)),
          parent(connection.requestProperty(asked, XCB_ATOM_WM_TRANSIENT_FOR)),
          type(connection.requestProperty(asked, connection.atom(X11Atom::windowType))),
          state(connection.requestProperty(asked, connection.atom(X11Atom::windowState))),
          desktop(connection.requestProperty(asked, connection.atom(X11Atom::windowDesktop))),
          opacity(connection.requestProperty(asked, connection.atom(X11Atom::windowOpacity))),
          shadow(connection.requestProperty(asked, connection.atom(X11Atom::gtkFrameExtents))) {}
};

struct Answered {
    WindowInfo info;
    Rect shadow; ///< left, top, and what it adds to width and height
    bool isViewable = false;
    bool isMinimised = false;
    bool isShaded = false; ///< rolled up: its title bar alone is shown
    bool isDesktop = false;
    std::optional<std::uint32_t> desktop;
};

bool contains(const std::vector<std::uint32_t>& values, xcb_atom_t atom) {
    return atom != XCB_ATOM_NONE && std::ranges::find(values, atom) != values.end();
}

// The first kind that we know; programs name the most fitting one first.
int layerOf(const X11Connection& connection, const std::vector<std::uint32_t>& types, int otherwise) {
    const std::pair<X11Atom, int> layers[] = {
        {X11Atom::typeDock, dockLayer},
        {X11Atom::typeNotification, notificationLayer},
        {X11Atom::typeMenu, menuLayer},
        {X11Atom::typeDropdownMenu, menuLayer},
        {X11Atom::typePopupMenu, menuLayer},
        {X11Atom::typeCombo, menuLayer},
        {X11Atom::typeTooltip, tooltipLayer},
        {X11Atom::typeDragAndDrop, tooltipLayer},
        {X11Atom::typeToolbar, 0},
        {X11Atom::typeSplash, 0},
    };
    for (const std::uint32_t type : types)
        for (const auto& [name, layer] : layers)
            if (type == connection.atom(name)) return layer;
    return otherwise;
}

// The window's own area on the root, without its border.
std::optional<Rect> areaOf(const X11Connection& connection, const Asked& asked) {
    const X11Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection.get(), asked.geometry, nullptr));
    const X11Reply<xcb_translate_coordinates_reply_t> place(
        xcb_translate_coordinates_reply(connection.get(), asked.place, nullptr));
    if (!geometry || !place) return std::nullopt;
    return Rect{double(place->dst_x), double(place->dst_y), double(geometry->width), double(geometry->height)};
}

Answered answer(const X11Connection& connection, Asked& asked) {
    Answered result;
    result.info.number = asked.window;
    WindowOwner owner = asked.owner.answer();
    result.info.pid = owner.pid;
    if (!owner.title.empty()) result.info.title = std::move(owner.title);
    result.info.instanceName = std::move(owner.instanceName);
    result.info.className = std::move(owner.className);
    result.info.role = std::move(owner.role);
    result.info.desktopFile = std::move(owner.desktopFile);
    const X11Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection.get(), asked.attributes, nullptr));
    result.isViewable = attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    const auto area = areaOf(connection, asked);
    const auto parent = X11Connection::number(connection.property(asked.parent)).value_or(XCB_WINDOW_NONE);
    const auto types = X11Connection::numbers(connection.property(asked.type));
    // A window that its program places by itself and that doesn't say what it is will be a menu or a tip.
    result.info.layer = layerOf(connection, types, attributes && attributes->override_redirect ? menuLayer : 0);
    // What is dragged was picked up anywhere. The root stands for all windows of a program.
    if (parent != connection.root() && !contains(types, connection.atom(X11Atom::typeDragAndDrop)))
        result.info.parent = parent;
    result.isDesktop = contains(types, connection.atom(X11Atom::typeDesktop));
    const auto states = X11Connection::numbers(connection.property(asked.state));
    result.isMinimised = contains(states, connection.atom(X11Atom::stateHidden));
    result.isShaded = contains(states, connection.atom(X11Atom::stateShaded));
    result.desktop = X11Connection::number(connection.property(asked.desktop));
    const auto opacity = X11Connection::number(connection.property(asked.opacity));
    if (opacity) result.info.opacity = double(*opacity) / std::numeric_limits<std::uint32_t>::max();
    const auto shadow = X11Connection::numbers(connection.property(asked.shadow));
    if (shadow.size() == 4) // left, right, top, bottom
        result.shadow = {double(shadow[0]), double(shadow[2]), double(shadow[0]) + shadow[1],
                         double(shadow[2]) + shadow[3]};
    if (area && result.isViewable && !result.isShaded) result.info.content = area;
    return result;
}

std::vector<TopLevel> requestTopLevels(const X11Connection& connection, const xcb_query_tree_reply_t* tree) {
    std::vector<TopLevel> levels;
    if (!tree) return levels;
    const xcb_window_t* const children = xcb_query_tree_children(tree);
    for (int i = 0; i < xcb_query_tree_children_length(tree); ++i) {
        TopLevel level;
        level.window = children[i];
        level.height = static_cast<std::size_t>(i);
        level.attributesCookie = xcb_get_window_attributes(connection.get(), level.window);
        level.geometryCookie = xcb_get_geometry(connection.get(), level.window);
        levels.push_back(level);
    }
    return levels;
}

void receive(const X11Connection& connection, TopLevel& level) {
    const X11Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection.get(), level.attributesCookie, nullptr));
    const X11Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection.get(), level.geometryCookie, nullptr));
    if (!attributes || !geometry) return;
    level.isViewable =
        attributes->map_state == XCB_MAP_STATE_VIEWABLE && attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
    level.isOverride = attributes->override_redirect != 0;
    const double borders = 2.0 * geometry->border_width;
    level.bounds = {double(geometry->x), double(geometry->y), geometry->width + borders, geometry->height + borders};
}

/// The child of the root that each of these windows lies in, by index into `levels`; a window that is gone has none.
std::vector<std::optional<std::size_t>> topLevelsOf(const X11Connection& connection,
                                                    const std::vector<std::uint32_t>& windows,
                                                    const std::unordered_map<xcb_window_t, std::size_t>& indices) {
    std::vector<std::optional<std::size_t>> found(windows.size());
    std::vector<xcb_window_t> reached(windows.begin(), windows.end());
    for (int frame = 0; frame <= maxFrames; ++frame) {
        std::vector<std::pair<std::size_t, xcb_query_tree_cookie_t>> asked;
        for (std::size_t i = 0; i < reached.size(); ++i) {
            if (found[i] || reached[i] == XCB_WINDOW_NONE) continue;
            const auto known = indices.find(reached[i]);
            if (known != indices.end())
                found[i] = known->second;
            else
                asked.emplace_back(i, xcb_query_tree(connection.get(), reached[i]));
        }
        if (asked.empty()) break;
        for (const auto& [i, cookie] : asked) {
            const X11Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection.get(), cookie, nullptr));
            reached[i] = tree ? tree->parent : xcb_window_t{XCB_WINDOW_NONE};
        }
    }
    return found;
}

/// What the root window tells.
struct Root {
    X11Reply<xcb_query_tree_reply_t> tree;
    std::vector<std::uint32_t> clients; ///< what the window manager looks after, the lowest first; empty without one
    std::optional<std::uint32_t> desktop;
    bool hasCompositor = false; ///< without one nothing heeds how opaque windows want to be
    std::optional<std::uint32_t> active;
    Rect visible;
};

Root readRoot(const X11Connection& connection) {
    const auto request = [&](X11Atom name) {
        return connection.requestProperty(connection.root(), connection.atom(name));
    };
    const auto stacking = request(X11Atom::clientListStacking);
    const auto list = request(X11Atom::clientList);
    const auto desktop = request(X11Atom::currentDesktop);
    const auto active = request(X11Atom::activeWindow);
    const auto compositor = xcb_get_selection_owner(connection.get(), connection.atom(X11Atom::compositor));
    const auto tree = xcb_query_tree(connection.get(), connection.root());
    const auto geometry = xcb_get_geometry(connection.get(), connection.root());
    Root root;
    root.clients = X11Connection::numbers(connection.property(stacking));
    // Some window managers tell the order of age alone; the order of the frames is asked for anyway.
    auto byAge = X11Connection::numbers(connection.property(list));
    if (root.clients.empty()) root.clients = std::move(byAge);
    root.desktop = X11Connection::number(connection.property(desktop));
    root.active = X11Connection::number(connection.property(active));
    const X11Reply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(connection.get(), compositor, nullptr));
    root.hasCompositor = owner && owner->owner != XCB_WINDOW_NONE;
    root.tree.reset(xcb_query_tree_reply(connection.get(), tree, nullptr));
    const X11Reply<xcb_get_geometry_reply_t> screen(xcb_get_geometry_reply(connection.get(), geometry, nullptr));
    if (screen) root.visible = {0, 0, double(screen->width), double(screen->height)};
    return root;
}

struct Placed {
    Answered window;
    TopLevel* level = nullptr;
    std::size_t order = 0; ///< the window manager's word where two share a frame
};

// Also marks the frames as taken.
void placeClients(const X11Connection& connection, const Root& root, std::vector<TopLevel>& levels,
                  std::vector<Asked>& clients, std::vector<Placed>& placed) {
    std::unordered_map<xcb_window_t, std::size_t> indices;
    for (const TopLevel& level : levels)
        indices.emplace(level.window, level.height);
    const auto frames = topLevelsOf(connection, root.clients, indices);
    for (std::size_t i = 0; i < clients.size(); ++i) {
        auto answered = answer(connection, clients[i]);
        if (!frames[i]) continue;
        TopLevel& level = levels[*frames[i]];
        level.isFrame = true;
        // Without a compositor what is drawn is seen, also while the window manager is about to put it away. With one,
        // windows of other desktops and minimised ones may be drawn where nobody sees it.
        const bool isHere = !root.hasCompositor || !root.desktop || !answered.desktop ||
                            *answered.desktop == allDesktops || *answered.desktop == *root.desktop;
        const bool isShown =
            answered.isShaded || (answered.isViewable && !(answered.isMinimised && root.hasCompositor));
        if (level.isViewable && isHere && isShown && !answered.isDesktop)
            placed.push_back({std::move(answered), &level, i});
    }
}

// What no window manager looks after: menus and tips, and everything where there is no window manager.
void placeOthers(const X11Connection& connection, const Root& root, std::vector<TopLevel>& levels,
                 std::vector<Placed>& placed) {
    std::vector<std::pair<Asked, TopLevel*>> others;
    for (TopLevel& level : levels) {
        const bool isWanted = level.isOverride || root.clients.empty();
        if (level.isViewable && isWanted && !level.isFrame && level.bounds.intersects(root.visible))
            others.emplace_back(Asked(connection, level.window), &level);
    }
    for (auto& [asked, level] : others) {
        auto answered = answer(connection, asked);
        if (answered.isViewable && !answered.isDesktop) placed.push_back({std::move(answered), level, 0});
    }
}

// A program may claim a shadow larger than its window; then nothing is known about it.
Rect withoutShadow(const Rect& bounds, const Rect& shadow) {
    const Rect inner{bounds.x + shadow.x, bounds.y + shadow.y, bounds.width - shadow.width,
                     bounds.height - shadow.height};
    return inner.isEmpty() ? bounds : inner;
}

} // namespace

std::vector<WindowInfo> readX11Windows(const X11Connection& connection) {
    const Root root = readRoot(connection);
    auto levels = requestTopLevels(connection, root.tree.get());
    std::vector<Asked> clients;
    clients.reserve(root.clients.size());
    for (const xcb_window_t client : root.clients)
        clients.emplace_back(connection, client);
    for (auto& level : levels)
        receive(connection, level);

    std::vector<Placed> placed;
    placeClients(connection, root, levels, clients, placed);
    placeOthers(connection, root, levels, placed);
    std::ranges::sort(placed, [](const Placed& a, const Placed& b) {
        return std::pair(a.level->height, a.order) > std::pair(b.level->height, b.order);
    });
    std::vector<WindowInfo> windows;
    for (auto& [window, level, order] : placed) {
        window.info.isActive = root.active == window.info.number;
        if (!root.hasCompositor) window.info.opacity = 1;
        window.info.bounds = withoutShadow(level->bounds, window.shadow);
        windows.push_back(std::move(window.info));
    }
    return windows;
}

} // namespace nomara
