#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <xcb/res.h>
#include <xcb/xcb.h>

namespace nomara {

/// Names that window managers, programs and we agree on.
enum class X11Atom : std::uint8_t {
    activeWindow,
    clientList,
    clientListStacking,
    compositor,
    currentDesktop,
    showingDesktop,
    desktopViewport,
    windowDesktop,
    windowName,
    windowOpacity,
    windowPid,
    windowRole,
    desktopFile,
    gtkApplication,
    bamfDesktopFile,
    windowState,
    stateHidden,
    stateShaded,
    windowType,
    typeDesktop,
    typeDock,
    typeToolbar,
    typeMenu,
    typeDropdownMenu,
    typePopupMenu,
    typeTooltip,
    typeNotification,
    typeCombo,
    typeDragAndDrop,
    typeSplash,
    gtkFrameExtents,
    supportingCheck,
    utf8String,
    count,
};

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); } // NOLINT: xcb allocates with malloc
};
/// An answer of the server; null when there was none (the window is gone, the connection is lost).
template <typename Reply>
using X11Reply = std::unique_ptr<Reply, FreeReply>;

/// A connection to the X server, with the atoms known. Requests may be made from any thread, events read from one.
/// Requests are sent first and their answers fetched together, so that many of them cost one round trip.
/// Requests with answers are made in xcb's checked form: an error then is a missing answer. In the other form it would
/// become an event, and pile up where nobody reads events.
class X11Connection {
public:
    using Property = X11Reply<xcb_get_property_reply_t>;

    /// Connects to `display`, or to $DISPLAY when it is empty. `onLost` runs once, on the thread that notices.
    /// Throws PlatformError with a sentence for the user.
    explicit X11Connection(std::function<void()> onLost, const std::string& display = {});
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    xcb_connection_t* get() const { return m_connection; }
    xcb_window_t root() const { return m_screen->root; }
    xcb_atom_t atom(X11Atom name) const { return m_atoms[static_cast<std::size_t>(name)]; }

    /// False from the moment the server has gone.
    bool isAlive();

    /// False also where the connection is lost.
    bool hasExtension(xcb_extension_t& extension) const;

    xcb_get_property_cookie_t requestProperty(xcb_window_t window, xcb_atom_t name) const;
    Property property(xcb_get_property_cookie_t cookie) const;
    /// The values of a property of 32-bit numbers; empty where it is absent or of another kind.
    static std::vector<std::uint32_t> numbers(const Property& property);
    static std::optional<std::uint32_t> number(const Property& property);
    static std::string_view bytes(const Property& property);

private:
    xcb_connection_t* m_connection = nullptr;
    const xcb_screen_t* m_screen = nullptr;
    std::array<xcb_atom_t, static_cast<std::size_t>(X11Atom::count)> m_atoms{};
    const std::function<void()> m_onLost;
    std::atomic<bool> m_lossTold = false;
};

/// Both halves of WM_CLASS as valid UTF-8.
struct X11WindowClass {
    std::string instanceName, className;
};
X11WindowClass windowClassOf(const X11Connection::Property& property);

/// Which process a window belongs to: asked in two steps, so that many windows can be asked at once.
/// The server's own answer goes before the window's: a program may write any number there, and one in a container
/// writes the number that it has in there, which out here is another program's.
class X11WindowProcess {
public:
    X11WindowProcess(const X11Connection& connection, xcb_window_t window);
    /// 0 where it can't be told, or the program runs on another machine.
    std::int32_t pid();

private:
    const X11Connection& m_connection;
    // Before the others, so that their answers prove it: the server tells who owns a range of numbers, and of a window
    // that is gone it may name a program that came later.
    const std::optional<xcb_res_query_client_ids_cookie_t> m_client; // absent where the server can't be asked
    const xcb_get_property_cookie_t m_pid;
    const xcb_get_property_cookie_t m_machine;
};

} // namespace nomara
