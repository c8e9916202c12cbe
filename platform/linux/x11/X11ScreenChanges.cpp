#include "platform/linux/x11/X11ScreenChanges.h"

#include "platform/PlatformError.h"

#include <algorithm>
#include <string>
#include <utility>

#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/xfixes.h>

namespace nomara {

namespace {

// A program paints what came to light within this time, unless it hangs.
constexpr double settleSeconds = 0.2;
// Compositors let windows come, go and move softly: most within a quarter of a second, a whole desktop in twice that.
constexpr double animationSeconds = 1;
// The same where an excluded window or a desktop is what comes or goes.
constexpr double compositorSeconds = 2;
// A window that may have painted before one followed it has done so by then, unless its program hangs; and what was
// excluded is in no window's new memory any more that begins after that.
constexpr double unseenSeconds = 1;
constexpr double excludedSeconds = 10;
// Window managers have painted a new window's decorations by then.
constexpr double strokesSeconds = 3;

// Events are told apart by their first byte, as X11 has it.
template <typename Event>
const Event& as(const xcb_generic_event_t& event) {
    return *reinterpret_cast<const Event*>(&event);
}

PixelBox boxOf(int x, int y, int width, int height, int border = 0) {
    return {x, y, x + width + 2 * border, y + height + 2 * border};
}

X11Region regionOf(const xcb_xfixes_fetch_region_reply_t& reply, int left, int top) {
    X11Region region;
    const xcb_rectangle_t* const rectangles = xcb_xfixes_fetch_region_rectangles(&reply);
    for (int i = 0; i < xcb_xfixes_fetch_region_rectangles_length(&reply); ++i)
        region.add(boxOf(left + rectangles[i].x, top + rectangles[i].y, rectangles[i].width, rectangles[i].height));
    return region;
}

xcb_atom_t compositorSelection(const X11Connection& connection) {
    int number = 0;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
    for (; screens.rem > 0 && screens.data->root != connection.root(); xcb_screen_next(&screens))
        ++number;
    const std::string name = "_NET_WM_CM_S" + std::to_string(number);
    const X11Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection.get(), xcb_intern_atom(connection.get(), 0, std::uint16_t(name.size()), name.c_str()), nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

} // namespace

X11ScreenChanges::X11ScreenChanges(const X11Connection& connection, const IdentityResolver& resolver)
    : m_connection(connection), m_excluded(connection, resolver) {
    xcb_connection_t* const server = connection.get();
    if (!connection.hasExtension(xcb_damage_id) || !connection.hasExtension(xcb_xfixes_id))
        throw PlatformError("The X server doesn't tell what changes on the screen.");
    // Neither answers anything else before it has been asked for its version.
    const auto damage = xcb_damage_query_version(server, 1, 1);
    const auto fixes = xcb_xfixes_query_version(server, 2, 0);
    const X11Reply<xcb_damage_query_version_reply_t> damageVersion(
        xcb_damage_query_version_reply(server, damage, nullptr));
    const X11Reply<xcb_xfixes_query_version_reply_t> fixesVersion(
        xcb_xfixes_query_version_reply(server, fixes, nullptr));
    if (!damageVersion || !fixesVersion) throw PlatformError("The X server doesn't tell what changes on the screen.");
    m_damageEvent = xcb_get_extension_data(server, &xcb_damage_id)->first_event;
    m_fixesEvent = xcb_get_extension_data(server, &xcb_xfixes_id)->first_event;
    if (connection.hasExtension(xcb_randr_id)) {
        m_randrEvent = xcb_get_extension_data(server, &xcb_randr_id)->first_event;
        xcb_randr_select_input(server, connection.root(),
                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    }
    // Notices are asked for before the first look at anything, so that no change falls between the two. Those of the
    // root itself tell of displays that change without a word from RandR.
    const std::uint32_t mask =
        XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(server, connection.root(), XCB_CW_EVENT_MASK, &mask);
    const xcb_atom_t compositor = compositorSelection(connection);
    xcb_xfixes_select_selection_input(server, connection.root(), compositor,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    const X11Reply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(server, xcb_get_selection_owner(server, compositor), nullptr));
    if (!owner) throw PlatformError("The X server doesn't tell whether there is a compositor.");
    m_compositor = owner->owner;
    m_stacking.setComposited(m_compositor != XCB_WINDOW_NONE, m_compositorAt);
    m_region = xcb_generate_id(server);
    xcb_xfixes_create_region(server, m_region, 0, nullptr);
    m_damage = xcb_generate_id(server);
    xcb_damage_create(server, m_damage, connection.root(), XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
}

void X11ScreenChanges::setFilter(DisplayStreamFilter filter, double now) {
    if (isAnyExcluded(now)) m_excludedAt = now;
    m_excluded.setFilter(std::move(filter));
    m_stacking.forget();
    m_compositedUntil = 0;
}

bool X11ScreenChanges::drain(double now) {
    bool hasEvents = false;
    while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(m_connection.get())}) {
        handle(*event, now);
        if (m_mayRedirect) m_stacking.noteNewMemory();
        hasEvents = true;
    }
    followPainting(now);
    return hasEvents;
}

bool X11ScreenChanges::refresh(double now) {
    if (!m_excluded.hasFilter()) return true;
    const auto moves = m_moves;
    auto windows = m_excluded.read();
    // The answers are ahead of notices that wait: what was painted before must not count as painted after.
    drain(now);
    if (!windows || m_moves != moves) return false;
    if (*windows != m_stacking.windows()) m_stacking.reset(std::move(*windows), now);
    followPainting(now);
    return true;
}

std::optional<std::vector<X11ComposableWindow>> X11ScreenChanges::refreshComposable(double now) {
    const auto moves = m_moves;
    auto windows = m_excluded.readComposable(m_compositor);
    drain(now);
    if (!windows || m_moves != moves || !followProperties(*windows)) return std::nullopt;
    std::vector<X11TopWindow> tops;
    for (const X11ComposableWindow& window : *windows)
        tops.push_back(window.top);
    if (tops != m_stacking.windows()) m_stacking.reset(std::move(tops), now);
    if (m_stacking.hasExcluded()) m_excludedAt = now;
    for (const X11ComposableWindow& window : *windows)
        if (window.top.isShown)
            m_programAreas[window.top.id] = window.painted.moved(-window.top.bounds.left, -window.top.bounds.top);
    // What window managers draw around programs' windows isn't always drawn into the windows' own memory.
    if (!std::exchange(m_isListed, true))
        for (const X11ComposableWindow& window : *windows) {
            if (!window.top.isShown) continue;
            X11Region rest(window.top.bounds);
            rest.subtract(window.painted);
            m_stacking.addUnpainted(window.top.id, rest);
        }
    assumePainted(*windows, now);
    followPainting(now);
    return windows;
}

X11Region X11ScreenChanges::takeDamage() {
    xcb_connection_t* const server = m_connection.get();
    m_hasDamage = false;
    xcb_damage_subtract(server, m_damage, XCB_NONE, m_region);
    const X11Reply<xcb_xfixes_fetch_region_reply_t> reply(
        xcb_xfixes_fetch_region_reply(server, xcb_xfixes_fetch_region(server, m_region), nullptr));
    return reply ? regionOf(*reply, 0, 0) : X11Region();
}

// First taken, then read: what is painted between the two is told once more.
X11Region X11ScreenChanges::takePainted(const std::vector<X11Layer>& layers, double now) {
    xcb_connection_t* const server = m_connection.get();
    struct Asked {
        const X11Layer* layer = nullptr;
        xcb_xfixes_fetch_region_cookie_t cookie{};
    };
    std::vector<Asked> asked;
    std::set<xcb_window_t> layered;
    for (const X11Layer& layer : layers) {
        layered.insert(layer.id);
        auto known = m_changes.find(layer.id);
        if (known == m_changes.end()) {
            const std::uint32_t damage = xcb_generate_id(server);
            const auto request = xcb_damage_create(server, damage, layer.id, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
            known = m_changes.emplace(layer.id, Strokes{layer.id, damage, request.sequence}).first;
        }
        if (!m_layered.contains(layer.id)) {
            xcb_damage_subtract(server, known->second.damage, XCB_NONE, XCB_NONE); // all of it is read anyway
            m_begunSince.erase(layer.id);
        } else if (m_changed.contains(layer.id)) {
            xcb_damage_subtract(server, known->second.damage, XCB_NONE, m_region);
            asked.push_back({&layer, xcb_xfixes_fetch_region(server, m_region)});
        }
    }
    m_changed.clear();
    m_layered = std::move(layered);
    X11Region painted;
    std::vector<std::pair<xcb_window_t, X11Region>> known;
    for (const Asked& each : asked) {
        const X11Layer& layer = *each.layer;
        const X11Reply<xcb_xfixes_fetch_region_reply_t> reply(
            xcb_xfixes_fetch_region_reply(server, each.cookie, nullptr));
        const X11Region region =
            reply ? regionOf(*reply, layer.bounds.left + layer.border, layer.bounds.top + layer.border) : layer.visible;
        painted.add(region.intersection(layer.visible));
        if (!m_begunSince.contains(layer.id) && reply) known.emplace_back(layer.id, region);
    }
    // Notices that came before the answers are taken in first: what was copied by a move doesn't count.
    const auto moves = m_moves;
    for (const Asked& each : asked)
        m_begunSince.erase(each.layer->id);
    drain(now);
    if (m_moves != moves) return painted;
    for (const auto& [window, region] : known)
        m_stacking.assumePainted(window, region);
    return painted;
}

void X11ScreenChanges::synchronise() {
    const X11Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(m_connection.get(), xcb_get_input_focus(m_connection.get()), nullptr));
}

bool X11ScreenChanges::takeScreenChange() {
    return std::exchange(m_hasScreenChange, false);
}

void X11ScreenChanges::setComposing(bool isComposing, double now) {
    m_lookedMoves = m_moves;
    if (isComposing && std::exchange(m_mayRedirect, false)) {
        std::vector<xcb_window_t> windows;
        for (const auto& [window, region] : m_stacking.unpainted())
            windows.push_back(window);
        for (const xcb_window_t window : windows)
            noteUnseen(window, now);
        followPainting(now);
    } else if (!isComposing && hasCompositor() && !m_mayRedirect) {
        m_mayRedirect = true;
        m_stacking.noteNewMemory();
    }
    if (m_isComposing == isComposing) return;
    m_isComposing = isComposing;
    m_hasDamage = true;
    if (!isComposing) m_compositorAt = now; // what it painted last may still be on the screen
}

bool X11ScreenChanges::hasDamage() const {
    return m_isComposing ? !m_changed.empty() || m_moves != m_lookedMoves : m_hasDamage;
}

std::optional<double> X11ScreenChanges::nextRevealAt() const {
    std::optional<double> next;
    for (const auto& [window, since] : m_unseen)
        next = std::min(next.value_or(since + unseenSeconds), since + unseenSeconds);
    return next;
}

double X11ScreenChanges::quietUntil(double now) {
    double quiet = m_excluded.hasFilter() ? m_stacking.changedAt() + settleSeconds : 0;
    if (!hasCompositor()) return std::max({quiet, m_compositedUntil, m_compositorAt + compositorSeconds});
    quiet = std::max({quiet, m_lastMoveAt + animationSeconds, m_lastSwitchAt + compositorSeconds,
                      m_compositorAt + compositorSeconds});
    if (!m_excluded.hasFilter()) return quiet;
    if (m_stacking.hasExcluded() || m_excluded.isAnyOpen()) m_compositedUntil = now + compositorSeconds;
    return std::max(quiet, m_compositedUntil);
}

void X11ScreenChanges::handle(const xcb_generic_event_t& event, double now) {
    const auto kind = std::uint8_t(event.response_type & 0x7F);
    if (kind == 0) return; // the error of a request about a window that was gone
    if (kind == m_damageEvent + XCB_DAMAGE_NOTIFY)
        return handleDamage(as<xcb_damage_notify_event_t>(event), event.full_sequence, now);
    if (m_randrEvent != 0 &&
        (kind == m_randrEvent + XCB_RANDR_SCREEN_CHANGE_NOTIFY || kind == m_randrEvent + XCB_RANDR_NOTIFY)) {
        m_hasScreenChange = true;
        return;
    }
    if (kind == m_fixesEvent + XCB_XFIXES_SELECTION_NOTIFY)
        return handleCompositor(as<xcb_xfixes_selection_notify_event_t>(event).owner, now);
    switch (kind) {
    case XCB_PROPERTY_NOTIFY:
        handleProperty(as<xcb_property_notify_event_t>(event), now);
        break;
    case XCB_CREATE_NOTIFY: {
        const auto& notice = as<xcb_create_notify_event_t>(event);
        // A compositor's overlay is the server's own window and in no list. Nothing of it is in other windows' memory:
        // the compositor paints it only once they have their own.
        if ((notice.window & ~xcb_get_setup(m_connection.get())->resource_id_mask) == 0) break;
        forgetWindow(notice.window); // of one with the same number that went within a frame, which isn't told
        X11TopWindow window;
        window.id = notice.window;
        window.bounds = boxOf(notice.x, notice.y, notice.width, notice.height, notice.border_width);
        m_stacking.add(window, now);
        break;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto window = as<xcb_destroy_notify_event_t>(event).window;
        forgetWindow(window);
        if (const auto* known = m_stacking.find(window); known && known->isShown) moved(now);
        m_stacking.remove(window, now);
        break;
    }
    case XCB_MAP_NOTIFY:
        handleMap(as<xcb_map_notify_event_t>(event).window, event.full_sequence, now);
        break;
    case XCB_UNMAP_NOTIFY:
        moved(now);
        m_stacking.setShown(as<xcb_unmap_notify_event_t>(event).window, false, now);
        break;
    case XCB_REPARENT_NOTIFY:
        handleReparent(as<xcb_reparent_notify_event_t>(event), now);
        break;
    case XCB_CONFIGURE_NOTIFY:
        handleConfigure(as<xcb_configure_notify_event_t>(event), event.full_sequence, now);
        break;
    case XCB_CIRCULATE_NOTIFY: {
        const auto& notice = as<xcb_circulate_notify_event_t>(event);
        moved(now);
        m_stacking.restack(notice.window, notice.place == XCB_PLACE_ON_TOP, now);
        break;
    }
    case XCB_GRAVITY_NOTIFY:
        moved(now);
        break;
    default:
        break;
    }
}

void X11ScreenChanges::moved(double now) {
    ++m_moves;
    m_lastMoveAt = now;
}

// What the server kept for us has gone with the window.
void X11ScreenChanges::forgetWindow(xcb_window_t window) {
    m_strokes.erase(window);
    m_movedAt.erase(window);
    m_changes.erase(window);
    m_changed.erase(window);
    m_layered.erase(window);
    m_unseen.erase(window);
    m_begunAt.erase(window);
    m_begunSince.erase(window);
    m_programAreas.erase(window);
    m_propertied.erase(window);
}

void X11ScreenChanges::handleDamage(const xcb_damage_notify_event_t& notice, std::uint32_t sequence, double now) {
    if (notice.damage == m_damage) {
        m_hasDamage = true;
        return;
    }
    // The first report tells what the window is made of when one begins to ask.
    if (const auto known = m_changes.find(notice.drawable);
        known != m_changes.end() && known->second.damage == notice.damage) {
        if (known->second.request != sequence) m_changed.insert(notice.drawable);
        return;
    }
    const auto strokes = m_strokes.find(notice.drawable);
    if (strokes == m_strokes.end() || strokes->second.damage != notice.damage ||
        !countsAsPainting(strokes->second, sequence, now))
        return;
    m_stacking.painted(strokes->second.top, boxOf(notice.geometry.x + notice.area.x, notice.geometry.y + notice.area.y,
                                                  notice.area.width, notice.area.height));
}

void X11ScreenChanges::handleConfigure(const xcb_configure_notify_event_t& notice, std::uint32_t sequence, double now) {
    const xcb_window_t window = notice.window;
    if (window == m_connection.root()) {
        m_hasScreenChange = true;
        return;
    }
    const auto* const known = m_stacking.find(window);
    const bool isShown = known && known->isShown;
    if (!known || isShown) moved(now);
    const PixelBox bounds = boxOf(notice.x, notice.y, notice.width, notice.height, notice.border_width);
    const bool isResized = isShown && (known->bounds.right - known->bounds.left != bounds.right - bounds.left ||
                                       known->bounds.bottom - known->bounds.top != bounds.bottom - bounds.top);
    // Where a window keeps its memory, moving it copies nothing; and a copy within it is told as painting, which it is
    // where all of it had been painted.
    const bool isCopyingForeign = hasCompositor() ? m_stacking.isUnpainted(window) : m_strokes.contains(window);
    if (isCopyingForeign) m_movedAt[window] = now;
    m_stacking.configure(window, bounds, notice.above_sibling, now);
    if (isResized) noteBegun(window, now);
    if (hasCompositor() && isCopyingForeign) m_begunSince.insert(window);
    if (hasCompositor() && isShown &&
        ((isCopyingForeign && isProgramUnpainted(window)) || (isResized && !wasFollowedAt(window, sequence))))
        noteUnseen(window, now);
}

// Into a frame, which becomes another's by it, or out of one.
void X11ScreenChanges::handleReparent(const xcb_reparent_notify_event_t& notice, double now) {
    moved(now);
    m_stacking.remove(notice.window, now);
    if (notice.parent == m_connection.root()) {
        const X11Reply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(m_connection.get(), xcb_get_geometry(m_connection.get(), notice.window), nullptr));
        X11TopWindow window;
        window.id = notice.window;
        if (geometry)
            window.bounds = boxOf(geometry->x, geometry->y, geometry->width, geometry->height, geometry->border_width);
        m_stacking.add(window, now);
    }
    // A frame may have one more within it that the window lies in.
    xcb_window_t top = notice.parent == m_connection.root() ? notice.window : notice.parent;
    if (!m_stacking.find(top)) {
        const X11Reply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_connection.get(), xcb_query_tree(m_connection.get(), top), nullptr));
        if (tree) top = tree->parent;
    }
    if (const auto strokes = m_strokes.find(notice.window); strokes != m_strokes.end()) strokes->second.top = top;
    if (m_stacking.find(top) && m_excluded.isExcluded(top)) m_stacking.setExcluded(top, now);
}

// Another desktop, or the bare desktop: which windows one sees changes, and some window managers tell by this alone.
void X11ScreenChanges::handleProperty(const xcb_property_notify_event_t& notice, double now) {
    const auto isOneOf = [&](std::initializer_list<X11Atom> names) {
        return std::ranges::any_of(names, [&](X11Atom name) { return notice.atom == m_connection.atom(name); });
    };
    if (notice.window != m_connection.root()) {
        // Minimised, or sent to another desktop, and no longer shown though drawn all the same; or another's.
        if (notice.atom == XCB_ATOM_WM_CLASS || notice.atom == XCB_ATOM_WM_TRANSIENT_FOR ||
            isOneOf({X11Atom::windowState, X11Atom::windowDesktop, X11Atom::windowPid}))
            moved(now);
        return;
    }
    if (isOneOf({X11Atom::currentDesktop, X11Atom::showingDesktop, X11Atom::desktopViewport})) {
        moved(now);
        m_lastSwitchAt = now;
    } else if (m_isComposing && isOneOf({X11Atom::clientList, X11Atom::supportingCheck})) {
        moved(now);
    }
}

void X11ScreenChanges::handleCompositor(xcb_window_t owner, double now) {
    const bool begins = owner != XCB_WINDOW_NONE && owner != m_compositor;
    m_stacking.setComposited(false, now); // one that takes over from another gives windows new memory as well
    m_compositor = owner;
    m_compositorAt = now;
    moved(now);
    // Windows that nobody had to list so far are given new memory, too.
    if (begins && !m_excluded.hasFilter())
        if (auto windows = m_excluded.read()) m_stacking.reset(std::move(*windows), now);
    m_stacking.setComposited(owner != XCB_WINDOW_NONE, now);
    m_unseen.clear();
    m_isListed = false;
    m_mayRedirect = hasCompositor();
}

void X11ScreenChanges::handleMap(xcb_window_t window, std::uint32_t sequence, double now) {
    moved(now);
    // It may be away again by now, so what it is counts and not whether it shows. Nothing tells whose a window was that
    // is gone; then it counts as excluded.
    if (m_excluded.hasFilter() && m_excluded.isExcluded(window)) m_stacking.setExcluded(window, now);
    m_stacking.setShown(window, true, now);
    noteBegun(window, now);
    if (hasCompositor() && !wasFollowedAt(window, sequence)) noteUnseen(window, now);
}

// The copying that moves a window is told as painting, and further than one sees it. What an excluded window paints
// says nothing about others. The first report tells what the window is made of when one begins to ask. A compositor
// that comes or goes makes the server copy all windows to and fro, which is told as well.
bool X11ScreenChanges::countsAsPainting(const Strokes& strokes, std::uint32_t sequence, double now) const {
    const auto* const known = m_stacking.find(strokes.top);
    const auto movedAt = m_movedAt.find(strokes.top);
    // Nor does what a window may have painted before it had memory of its own.
    return known && !m_mayRedirect && (hasCompositor() || !known->isExcluded) && strokes.request != sequence &&
           now > m_compositorAt + settleSeconds &&
           (movedAt == m_movedAt.end() || now > movedAt->second + settleSeconds);
}

// Its memory is new.
void X11ScreenChanges::noteBegun(xcb_window_t top, double now) {
    m_begunAt[top] = now;
    m_begunSince.insert(top);
}

// Whether all that a window painted from this moment on was told. What lies in a frame is followed on its own: a frame
// often is made, filled and shown at once.
bool X11ScreenChanges::wasFollowedAt(xcb_window_t top, std::uint32_t sequence) const {
    bool hasClients = false, isFollowed = false;
    for (const auto& [window, strokes] : m_strokes) {
        if (strokes.top != top || window == top) continue;
        hasClients = true;
        isFollowed = isFollowed || strokes.request <= sequence;
    }
    if (hasClients) return isFollowed;
    const auto own = m_strokes.find(top);
    return own != m_strokes.end() && own->second.request <= sequence;
}

// While something excluded is about, what a window began with may show it, so its programs must be seen painting.
// Else it is only waited for until they must have done it.
void X11ScreenChanges::noteUnseen(xcb_window_t top, double now) {
    if (isAnyExcluded(now))
        m_unseen.erase(top);
    else
        m_unseen[top] = now;
}

bool X11ScreenChanges::isAnyExcluded(double now) {
    return now < m_excludedAt + excludedSeconds || m_stacking.hasExcluded() || m_excluded.isAnyOpen();
}

void X11ScreenChanges::assumePainted(const std::vector<X11ComposableWindow>& windows, double now) {
    for (const X11ComposableWindow& window : windows) {
        const auto unseen = m_unseen.find(window.top.id);
        if (unseen == m_unseen.end() || now < unseen->second + unseenSeconds) continue;
        m_stacking.assumePainted(window.top.id, window.painted);
        m_unseen.erase(unseen);
    }
    std::erase_if(m_unseen, [&](const auto& entry) { return now >= entry.second + unseenSeconds; });
}

// False where new ones were there: what they told before they were followed may be out of date.
bool X11ScreenChanges::followProperties(const std::vector<X11ComposableWindow>& windows) {
    bool isComplete = true;
    const auto followOne = [&](xcb_window_t window) {
        if (!m_propertied.insert(window).second) return;
        const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(m_connection.get(), window, XCB_CW_EVENT_MASK, &mask);
        isComplete = false;
    };
    for (const X11ComposableWindow& window : windows) {
        if (!window.top.isShown) continue;
        followOne(window.top.id);
        for (const std::uint32_t client : window.clients)
            followOne(client);
    }
    return isComplete;
}

// A window that is excluded may leave its pixels behind; that they have been painted over is known only from paintings
// told in their order. Each window is asked for its own: what the root tells of a window goes beyond the part of it
// that one sees.
//
// Under a compositor only windows are followed that haven't painted all of their memory, and those that aren't shown,
// whose memory is about to begin anew.
void X11ScreenChanges::followPainting(double now) {
    const bool isNeeded = hasCompositor() || m_stacking.hasExcluded() || !m_stacking.hidden(now).isEmpty();
    const auto isWanted = [&](xcb_window_t top) {
        const auto* const window = m_stacking.find(top);
        return window && isNeeded && (!hasCompositor() || wantsStrokes(*window, now));
    };
    std::erase_if(m_strokes, [&](const auto& entry) {
        if (isWanted(entry.second.top)) return false;
        // Gone with its window, maybe; the error is passed over.
        xcb_damage_destroy(m_connection.get(), entry.second.damage);
        return true;
    });
    if (!isNeeded) m_movedAt.clear();
    std::erase_if(m_movedAt, [&](const auto& entry) { return now > entry.second + settleSeconds; });
    bool hasNew = false;
    for (const X11TopWindow& window : m_stacking.windows()) {
        if (!isNeeded || m_strokes.contains(window.id) || !isWanted(window.id)) continue;
        const std::uint32_t damage = xcb_generate_id(m_connection.get());
        const auto request =
            xcb_damage_create(m_connection.get(), damage, window.id, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
        m_strokes.emplace(window.id, Strokes{window.id, damage, request.sequence});
        hasNew = true;
    }
    if (hasNew) xcb_no_operation(m_connection.get()); // what is told after it bears its number, not the last one's
    xcb_flush(m_connection.get());
}

// What is drawn around programs' windows may never be painted. After a while it isn't worth following each stroke.
bool X11ScreenChanges::wantsStrokes(const X11TopWindow& window, double now) const {
    if (!window.isShown) return true;
    const auto begunAt = m_begunAt.find(window.id);
    return (begunAt != m_begunAt.end() && now < begunAt->second + strokesSeconds) || isProgramUnpainted(window.id);
}

bool X11ScreenChanges::isProgramUnpainted(xcb_window_t top) const {
    const auto begun = m_stacking.unpainted().find(top);
    if (begun == m_stacking.unpainted().end() || begun->second.isEmpty()) return false;
    const auto area = m_programAreas.find(top);
    return area == m_programAreas.end() || !begun->second.intersection(area->second).isEmpty();
}

} // namespace nomara
