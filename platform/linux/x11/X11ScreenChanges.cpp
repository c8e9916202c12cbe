#include "platform/linux/x11/X11ScreenChanges.h"

#include "platform/PlatformError.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
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
// They draw each window at its place and nowhere else. Those that are window managers as well have overviews, small
// pictures of windows where one switches between them, or a magnifier, and tell nobody when these are open.
constexpr std::array<std::string_view, 3> plainCompositors = {"picom", "compton", "xcompmgr"};

// Events are told apart by their first byte, as X11 has it.
template <typename Event>
const Event& as(const xcb_generic_event_t& event) {
    return *reinterpret_cast<const Event*>(&event);
}

X11Box boxOf(int x, int y, int width, int height, int border = 0) {
    return {x, y, x + width + 2 * border, y + height + 2 * border};
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
    m_excluded.setFilter(std::move(filter));
    m_stacking.reset({}, now);
    m_stacking.forget();
    m_compositedUntil = 0;
}

bool X11ScreenChanges::drain(double now) {
    bool hasEvents = false;
    while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(m_connection.get())}) {
        handle(*event, now);
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

X11Region X11ScreenChanges::takeDamage() {
    xcb_connection_t* const server = m_connection.get();
    m_hasDamage = false;
    xcb_damage_subtract(server, m_damage, XCB_NONE, m_region);
    const X11Reply<xcb_xfixes_fetch_region_reply_t> reply(
        xcb_xfixes_fetch_region_reply(server, xcb_xfixes_fetch_region(server, m_region), nullptr));
    X11Region region;
    if (!reply) return region;
    const xcb_rectangle_t* const rectangles = xcb_xfixes_fetch_region_rectangles(reply.get());
    for (int i = 0; i < xcb_xfixes_fetch_region_rectangles_length(reply.get()); ++i)
        region.add(boxOf(rectangles[i].x, rectangles[i].y, rectangles[i].width, rectangles[i].height));
    return region;
}

void X11ScreenChanges::synchronise() {
    const X11Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(m_connection.get(), xcb_get_input_focus(m_connection.get()), nullptr));
}

bool X11ScreenChanges::takeScreenChange() {
    return std::exchange(m_hasScreenChange, false);
}

double X11ScreenChanges::quietUntil(double now) {
    double quiet = m_excluded.hasFilter() ? m_stacking.changedAt() + settleSeconds : 0;
    if (m_compositor == XCB_WINDOW_NONE) return std::max(quiet, m_compositedUntil);
    quiet = std::max({quiet, m_lastMoveAt + animationSeconds, m_lastSwitchAt + compositorSeconds,
                      m_compositorAt + compositorSeconds});
    if (!m_excluded.hasFilter()) return quiet;
    if (isPlainCompositor()) return std::max(quiet, m_stacking.changedAt() + compositorSeconds);
    if (m_stacking.hasExcluded() || m_excluded.isAnyOpen()) m_compositedUntil = now + compositorSeconds;
    return std::max(quiet, m_compositedUntil);
}

bool X11ScreenChanges::isPlainCompositor() const {
    const auto windowClass =
        windowClassOf(m_connection.property(m_connection.requestProperty(m_compositor, XCB_ATOM_WM_CLASS)));
    return std::ranges::find(plainCompositors, windowClass.instanceName) != plainCompositors.end();
}

void X11ScreenChanges::handle(const xcb_generic_event_t& event, double now) {
    const auto kind = std::uint8_t(event.response_type & 0x7F);
    if (kind == m_damageEvent + XCB_DAMAGE_NOTIFY) {
        const auto& notice = as<xcb_damage_notify_event_t>(event);
        if (notice.damage == m_damage)
            m_hasDamage = true;
        else if (countsAsPainting(event, now))
            m_stacking.painted(notice.drawable,
                               boxOf(notice.geometry.x + notice.area.x, notice.geometry.y + notice.area.y,
                                     notice.area.width, notice.area.height));
        return;
    }
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
        X11TopWindow window;
        window.id = notice.window;
        window.bounds = boxOf(notice.x, notice.y, notice.width, notice.height, notice.border_width);
        m_stacking.add(window, now);
        break;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto window = as<xcb_destroy_notify_event_t>(event).window;
        if (const auto* known = m_stacking.find(window); known && known->isShown) moved(now);
        m_stacking.remove(window, now);
        break;
    }
    case XCB_MAP_NOTIFY:
        handleMap(as<xcb_map_notify_event_t>(event).window, now);
        break;
    case XCB_UNMAP_NOTIFY:
        moved(now);
        m_stacking.setShown(as<xcb_unmap_notify_event_t>(event).window, false, now);
        break;
    case XCB_REPARENT_NOTIFY: {
        // Into a frame, which becomes another's by it, or out of one.
        const auto& notice = as<xcb_reparent_notify_event_t>(event);
        moved(now);
        m_stacking.remove(notice.window, now);
        if (m_stacking.find(notice.parent) && m_excluded.isExcluded(notice.parent))
            m_stacking.setExcluded(notice.parent, now);
        break;
    }
    case XCB_CONFIGURE_NOTIFY: {
        const auto& notice = as<xcb_configure_notify_event_t>(event);
        if (notice.window == m_connection.root()) {
            m_hasScreenChange = true;
            break;
        }
        if (const auto* known = m_stacking.find(notice.window); !known || known->isShown) moved(now);
        if (m_strokes.contains(notice.window)) m_movedAt[notice.window] = now;
        m_stacking.configure(notice.window, boxOf(notice.x, notice.y, notice.width, notice.height, notice.border_width),
                             notice.above_sibling, now);
        break;
    }
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

// Another desktop, or the bare desktop: which windows one sees changes, and some window managers tell by this alone.
void X11ScreenChanges::handleProperty(const xcb_property_notify_event_t& notice, double now) {
    if (notice.window != m_connection.root()) return;
    for (const X11Atom name : {X11Atom::currentDesktop, X11Atom::showingDesktop, X11Atom::desktopViewport}) {
        if (notice.atom != m_connection.atom(name)) continue;
        moved(now);
        m_lastSwitchAt = now;
    }
}

void X11ScreenChanges::handleCompositor(xcb_window_t owner, double now) {
    m_compositor = owner;
    m_compositorAt = now;
    moved(now);
    m_stacking.setComposited(owner != XCB_WINDOW_NONE, now);
}

void X11ScreenChanges::handleMap(xcb_window_t window, double now) {
    moved(now);
    if (!m_excluded.hasFilter()) return;
    // It may be away again by now, so what it is counts and not whether it shows. Nothing tells whose a window was that
    // is gone; then it counts as excluded.
    if (m_excluded.isExcluded(window)) m_stacking.setExcluded(window, now);
    m_stacking.setShown(window, true, now);
}

// The copying that moves a window is told as painting, and further than one sees it. What an excluded window paints
// says nothing about others. The first report tells what the window is made of when one begins to ask. A compositor
// that comes or goes makes the server copy all windows to and fro, which is told as well.
bool X11ScreenChanges::countsAsPainting(const xcb_generic_event_t& event, double now) const {
    const auto& notice = as<xcb_damage_notify_event_t>(event);
    const auto* const known = m_stacking.find(notice.drawable);
    const auto strokes = m_strokes.find(notice.drawable);
    const auto movedAt = m_movedAt.find(notice.drawable);
    return known && !known->isExcluded && strokes != m_strokes.end() && strokes->second.damage == notice.damage &&
           strokes->second.request != event.full_sequence && now > m_compositorAt + settleSeconds &&
           (movedAt == m_movedAt.end() || now > movedAt->second + settleSeconds);
}

// A window that is excluded may leave its pixels behind; that they have been painted over is known only from paintings
// told in their order. Each window is asked for its own: what the root tells of a window goes beyond the part of it
// that one sees.
void X11ScreenChanges::followPainting(double now) {
    if (!m_stacking.hasExcluded() && m_stacking.hidden(now).isEmpty()) {
        for (const auto& [window, strokes] : m_strokes)
            xcb_damage_destroy(m_connection.get(),
                               strokes.damage); // gone with its window, maybe; the error is passed over
        m_strokes.clear();
        m_movedAt.clear();
        return;
    }
    std::erase_if(m_strokes, [this](const auto& entry) { return !m_stacking.find(entry.first); });
    std::erase_if(m_movedAt, [&](const auto& entry) { return now > entry.second + settleSeconds; });
    bool hasNew = false;
    for (const X11TopWindow& window : m_stacking.windows()) {
        if (m_strokes.contains(window.id)) continue;
        const std::uint32_t damage = xcb_generate_id(m_connection.get());
        const auto request =
            xcb_damage_create(m_connection.get(), damage, window.id, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
        m_strokes.emplace(window.id, Strokes{damage, request.sequence});
        hasNew = true;
    }
    if (hasNew) xcb_no_operation(m_connection.get()); // what is told after it bears its number, not the last one's
    xcb_flush(m_connection.get());
}

} // namespace nomara
