#include "platform/linux/x11/X11Connection.h"

#include "core/text/Graphemes.h"
#include "platform/PlatformError.h"

#include <cstring>
#include <mutex>
#include <utility>

#include <unistd.h>

namespace nomara {

namespace {

// In the order of X11Atom.
constexpr std::array<std::string_view, static_cast<std::size_t>(X11Atom::count)> atomNames = {
    "_NET_ACTIVE_WINDOW",
    "_NET_CLIENT_LIST",
    "_NET_CLIENT_LIST_STACKING",
    "_NET_WM_CM_S0",
    "_NET_CURRENT_DESKTOP",
    "_NET_SHOWING_DESKTOP",
    "_NET_DESKTOP_VIEWPORT",
    "_NET_WM_DESKTOP",
    "_NET_WM_NAME",
    "_NET_WM_WINDOW_OPACITY",
    "_NET_WM_PID",
    "WM_WINDOW_ROLE",
    "_KDE_NET_WM_DESKTOP_FILE",
    "_GTK_APPLICATION_ID",
    "_BAMF_DESKTOP_FILE",
    "_NET_WM_STATE",
    "_NET_WM_STATE_HIDDEN",
    "_NET_WM_STATE_SHADED",
    "_NET_WM_WINDOW_TYPE",
    "_NET_WM_WINDOW_TYPE_DESKTOP",
    "_NET_WM_WINDOW_TYPE_DOCK",
    "_NET_WM_WINDOW_TYPE_TOOLBAR",
    "_NET_WM_WINDOW_TYPE_MENU",
    "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU",
    "_NET_WM_WINDOW_TYPE_POPUP_MENU",
    "_NET_WM_WINDOW_TYPE_TOOLTIP",
    "_NET_WM_WINDOW_TYPE_NOTIFICATION",
    "_NET_WM_WINDOW_TYPE_COMBO",
    "_NET_WM_WINDOW_TYPE_DND",
    "_NET_WM_WINDOW_TYPE_SPLASH",
    "_GTK_FRAME_EXTENTS",
    "_NET_SUPPORTING_WM_CHECK",
    "UTF8_STRING",
};

// Words of 32 bits. A title longer than this is cut; no list of windows comes near it.
constexpr std::uint32_t maxPropertyWords = 16'384;

// The name up to its first dot: one program tells "host", another "host.example.org".
std::string_view shortName(std::string_view machine) {
    return machine.substr(0, machine.find('.'));
}

bool isThisMachine(std::string_view machine) {
    std::array<char, 256> own{};
    if (gethostname(own.data(), own.size() - 1) != 0) return false;
    return !machine.empty() && shortName(machine) == shortName(own.data());
}

std::optional<xcb_res_query_client_ids_cookie_t> requestClient(const X11Connection& connection, xcb_window_t window) {
    if (!connection.hasExtension(xcb_res_id)) return std::nullopt;
    const xcb_res_client_id_spec_t asked{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    return xcb_res_query_client_ids(connection.get(), 1, &asked);
}

// Absent where the program isn't connected from this machine.
std::optional<std::uint32_t> clientPid(const xcb_res_query_client_ids_reply_t& reply) {
    for (auto ids = xcb_res_query_client_ids_ids_iterator(&reply); ids.rem > 0; xcb_res_client_id_value_next(&ids))
        if (ids.data->spec.mask == XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID &&
            xcb_res_client_id_value_value_length(ids.data) > 0)
            return *xcb_res_client_id_value_value(ids.data);
    return std::nullopt;
}

} // namespace

X11Connection::X11Connection(std::function<void()> onLost, const std::string& display) : m_onLost(std::move(onLost)) {
    std::string name = display;
    if (name.empty()) {
        const char* const variable = std::getenv("DISPLAY");
        if (!variable || !*variable) throw PlatformError("No display: DISPLAY is not set.");
        name = variable;
    }
    int screenNumber = 0;
    {
        // libXau, which reads the authority file, keeps its name in one place for all threads.
        static std::mutex connecting;
        const std::lock_guard lock(connecting);
        m_connection = xcb_connect(name.c_str(), &screenNumber);
    }
    if (xcb_connection_has_error(m_connection) == 0) {
        auto screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
        for (; screens.rem > 0 && screenNumber > 0; --screenNumber)
            xcb_screen_next(&screens);
        if (screens.rem > 0) m_screen = screens.data;
    }
    if (!m_screen) {
        xcb_disconnect(m_connection);
        throw PlatformError("The X server at " + name + " can't be reached.");
    }

    xcb_prefetch_extension_data(m_connection, &xcb_res_id);
    std::array<xcb_intern_atom_cookie_t, atomNames.size()> cookies{};
    for (std::size_t i = 0; i < atomNames.size(); ++i)
        cookies[i] =
            xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(atomNames[i].size()), atomNames[i].data());
    for (std::size_t i = 0; i < atomNames.size(); ++i) {
        const X11Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookies[i], nullptr));
        if (reply) m_atoms[i] = reply->atom;
    }
}

X11Connection::~X11Connection() {
    xcb_disconnect(m_connection);
}

bool X11Connection::isAlive() {
    if (xcb_connection_has_error(m_connection) == 0) return true;
    if (!m_lossTold.exchange(true) && m_onLost) m_onLost();
    return false;
}

bool X11Connection::hasExtension(xcb_extension_t& extension) const {
    const auto* const data = xcb_get_extension_data(m_connection, &extension);
    return data && data->present;
}

xcb_get_property_cookie_t X11Connection::requestProperty(xcb_window_t window, xcb_atom_t name) const {
    return xcb_get_property(m_connection, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, maxPropertyWords);
}

X11Connection::Property X11Connection::property(xcb_get_property_cookie_t cookie) const {
    return Property(xcb_get_property_reply(m_connection, cookie, nullptr));
}

std::vector<std::uint32_t> X11Connection::numbers(const Property& property) {
    if (!property || property->format != 32) return {};
    std::vector<std::uint32_t> values(property->value_len);
    if (!values.empty())
        std::memcpy(values.data(), xcb_get_property_value(property.get()), values.size() * sizeof(std::uint32_t));
    return values;
}

std::optional<std::uint32_t> X11Connection::number(const Property& property) {
    const auto values = numbers(property);
    return values.empty() ? std::nullopt : std::optional(values.front());
}

std::string_view X11Connection::bytes(const Property& property) {
    if (!property || property->format != 8) return {};
    return {static_cast<const char*>(xcb_get_property_value(property.get())), property->value_len};
}

X11WindowClass windowClassOf(const X11Connection::Property& property) {
    const std::string_view names = X11Connection::bytes(property); // "instance\0class\0"
    const auto end = names.find('\0');
    X11WindowClass result{Graphemes::validUTF8(names.substr(0, end)), {}};
    if (end == std::string_view::npos) return result;
    const auto rest = names.substr(end + 1);
    result.className = Graphemes::validUTF8(rest.substr(0, rest.find('\0')));
    return result;
}

X11WindowProcess::X11WindowProcess(const X11Connection& connection, xcb_window_t window)
    : m_connection(connection), m_client(requestClient(connection, window)),
      m_pid(connection.requestProperty(window, connection.atom(X11Atom::windowPid))),
      m_machine(connection.requestProperty(window, XCB_ATOM_WM_CLIENT_MACHINE)) {}

std::int32_t X11WindowProcess::pid() {
    const X11Reply<xcb_res_query_client_ids_reply_t> client(
        m_client ? xcb_res_query_client_ids_reply(m_connection.get(), *m_client, nullptr) : nullptr);
    const auto pidProperty = m_connection.property(m_pid);
    const auto machine = m_connection.property(m_machine);
    if (!pidProperty) return 0; // the window is gone
    if (client)
        if (const auto pid = clientPid(*client)) return static_cast<std::int32_t>(*pid);
    // The server doesn't know, so the window's word is all there is, if it counts processes as this machine does.
    if (!isThisMachine(X11Connection::bytes(machine))) return 0;
    return static_cast<std::int32_t>(X11Connection::number(pidProperty).value_or(0));
}

} // namespace nomara
