#include "platform/linux/x11/X11WindowServer.h"

#include "platform/PlatformError.h"
#include "platform/linux/desktop/ProcessFacts.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Displays.h"
#include "platform/linux/x11/X11WindowList.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/randr.h>

namespace nomara {

namespace {

// A window that was made while the list was read may have got the number of one that is in it.
constexpr int maxTries = 3;
// Notices wait for the next question; where none is asked they are taken in this often, so that they don't pile up.
constexpr int pauseMilliseconds = 5'000;

int makeEventCounter() {
    const int counter = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (counter < 0) throw PlatformError("No more files can be opened.");
    return counter;
}

} // namespace

X11WindowServer::X11WindowServer(std::function<void()> onConnectionLost, const std::string& display)
    : m_connection(std::make_unique<X11Connection>(std::move(onConnectionLost), display)), m_wake(makeEventCounter()) {
    watchDisplays();
    xcb_flush(m_connection->get());
    m_thread = std::thread([this] { follow(); });
}

X11WindowServer::~X11WindowServer() {
    m_ending = true;
    wake();
    m_thread.join();
    close(m_wake);
}

// The root itself tells of displays that change without a word from RandR.
void X11WindowServer::watchDisplays() {
    xcb_connection_t* const server = m_connection->get();
    const std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(server, m_connection->root(), XCB_CW_EVENT_MASK, &mask);
    if (!m_connection->hasExtension(xcb_randr_id)) return;
    m_randrEvent = xcb_get_extension_data(server, &xcb_randr_id)->first_event;
    xcb_randr_select_input(server, m_connection->root(),
                           XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                               XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
}

void X11WindowServer::wake() const {
    const std::uint64_t one = 1;
    // The counter can't be full, so the write can't fail.
    [[maybe_unused]] const auto written = write(m_wake, &one, sizeof one);
}

void X11WindowServer::observeDisplays(std::function<void()> observer) {
    const std::lock_guard lock(m_notifying);
    m_observer = std::move(observer);
}

std::vector<Display> X11WindowServer::displays() {
    const std::lock_guard lock(m_asking);
    auto displays = readX11Displays(*m_connection);
    takeEvents(); // notices that came in with the answers, where poll() doesn't see them
    return displays;
}

WindowList X11WindowServer::onScreenWindows() {
    const std::lock_guard lock(m_asking);
    takeEvents();
    WindowList windows;
    for (int attempt = 0; attempt < maxTries; ++attempt) {
        windows = readX11Windows(*m_connection);
        if (!m_connection->isAlive()) return {};
        // What the server said before its answers lies before them.
        const auto changed = takeEvents();
        if (std::ranges::none_of(windows, [&](const WindowInfo& window) { return changed.contains(window.number); }))
            break;
    }
    tellLives(windows);
    return windows;
}

bool X11WindowServer::isWindowAlive(std::uint32_t number, std::uint64_t life) {
    const std::lock_guard lock(m_asking);
    takeEvents();
    return m_lives.isAlive(number, life);
}

void X11WindowServer::follow() {
    pthread_setname_np(pthread_self(), "x11-windows");
    while (!m_ending) {
        {
            const std::lock_guard lock(m_asking);
            takeEvents();
        }
        if (m_haveDisplaysChanged.exchange(false)) {
            const std::lock_guard lock(m_notifying);
            if (m_observer) m_observer();
        }
        pollfd waiting[] = {{m_wake, POLLIN, 0}, {xcb_get_file_descriptor(m_connection->get()), POLLIN, 0}};
        poll(waiting, 1, pauseMilliseconds);
        // Whoever asks next notices that the connection is lost, and says so.
        const bool isLost = xcb_connection_has_error(m_connection->get()) != 0;
        if (!m_ending && !m_haveDisplaysChanged) poll(waiting, isLost ? 1 : 2, -1);
        std::uint64_t count = 0;
        [[maybe_unused]] const auto got = read(m_wake, &count, sizeof count);
    }
}

// The windows that were made or destroyed. Errors come here as well: a window that is to be watched may have gone.
std::set<std::uint32_t> X11WindowServer::takeEvents() {
    std::set<std::uint32_t> changed;
    bool haveDisplaysChanged = false;
    while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(m_connection->get())}) {
        const int kind = event->response_type & 0x7F;
        if (m_randrEvent != 0 &&
            (kind == m_randrEvent + XCB_RANDR_SCREEN_CHANGE_NOTIFY || kind == m_randrEvent + XCB_RANDR_NOTIFY)) {
            haveDisplaysChanged = true;
            continue;
        }
        switch (kind) {
        case XCB_CONFIGURE_NOTIFY:
            if (reinterpret_cast<const xcb_configure_notify_event_t&>(*event).window == m_connection->root())
                haveDisplaysChanged = true;
            break;
        case XCB_CREATE_NOTIFY:
            changed.insert(reinterpret_cast<const xcb_create_notify_event_t&>(*event).window);
            break;
        case XCB_DESTROY_NOTIFY:
            changed.insert(reinterpret_cast<const xcb_destroy_notify_event_t&>(*event).window);
            break;
        default:
            break;
        }
    }
    for (const std::uint32_t window : changed)
        m_lives.end(window);
    if (haveDisplaysChanged && !m_haveDisplaysChanged.exchange(true)) wake();
    return changed;
}

// A window in a frame isn't the root's child, so its end is watched for on its own.
void X11WindowServer::tellLives(WindowList& windows) {
    std::vector<std::pair<std::uint32_t, xcb_void_cookie_t>> watched;
    std::map<ProcessID, std::string> starts;
    for (WindowInfo& window : windows) {
        if (!m_lives.isKnown(window.number)) {
            const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
            watched.emplace_back(window.number, xcb_change_window_attributes_checked(m_connection->get(), window.number,
                                                                                     XCB_CW_EVENT_MASK, &mask));
        }
        auto start = starts.find(window.pid);
        if (start == starts.end()) {
            std::string read;
            if (window.pid > 0) read = ProcessFacts::startTime("/proc/" + std::to_string(window.pid));
            start = starts.emplace(window.pid, std::move(read)).first;
        }
        window.life = m_lives.lifeOf(window.number, window.pid, start->second);
    }
    for (const auto& [window, cookie] : watched)
        if (const X11Reply<xcb_generic_error_t> error{xcb_request_check(m_connection->get(), cookie)})
            m_lives.end(window);
}

} // namespace nomara
