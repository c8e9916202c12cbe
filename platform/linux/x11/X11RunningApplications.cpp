#include "platform/linux/x11/X11RunningApplications.h"

#include "platform/PlatformError.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11WindowOwner.h"

#include <utility>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace nomara {

namespace {

int makeEventCounter() {
    const int counter = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (counter < 0) throw PlatformError("No more files can be opened.");
    return counter;
}

} // namespace

X11RunningApplications::X11RunningApplications(IdentityResolver resolver, std::function<void()> onConnectionLost,
                                               const std::string& display)
    : m_resolver(std::move(resolver)),
      m_connection(std::make_unique<X11Connection>(std::move(onConnectionLost), display)), m_wake(makeEventCounter()) {
    // Ask for notices before the first look, so that no change falls between the two.
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(m_connection->get(), m_connection->root(), XCB_CW_EVENT_MASK, &mask);
    m_frontmost = readFrontmost();
    m_thread = std::thread([this] { follow(); });
}

X11RunningApplications::~X11RunningApplications() {
    m_ending = true;
    const std::uint64_t one = 1;
    // The counter can't be full, so the write can't fail.
    [[maybe_unused]] const auto written = write(m_wake, &one, sizeof one);
    m_thread.join();
    close(m_wake);
}

std::optional<FrontmostApp> X11RunningApplications::frontmost() {
    const std::lock_guard lock(m_mutex);
    return m_frontmost;
}

void X11RunningApplications::observeActivations(Observer observer) {
    const std::lock_guard notifying(m_notifying);
    m_observer = std::move(observer);
}

void X11RunningApplications::follow() {
    pthread_setname_np(pthread_self(), "x11-activations");
    while (!m_ending) {
        const Change change = drainEvents();
        if (!m_connection->isAlive()) {
            publish(std::nullopt);
            return;
        }
        if (change != Change::none) {
            // Titles change all the time.
            if (const auto front = readFrontmost(); change == Change::activation || front != m_frontmost)
                publish(front);
            continue; // notices may have come in with the answers, where poll() doesn't see them
        }
        pollfd waiting[] = {{xcb_get_file_descriptor(m_connection->get()), POLLIN, 0}, {m_wake, POLLIN, 0}};
        poll(waiting, 2, -1);
    }
}

X11RunningApplications::Change X11RunningApplications::drainEvents() {
    Change change = Change::none;
    while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(m_connection->get())}) {
        const auto kind = event->response_type & 0x7F;
        if (kind == XCB_PROPERTY_NOTIFY) {
            const auto& notice = *reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
            if (notice.atom == m_connection->atom(X11Atom::activeWindow))
                change = Change::activation;
            else if (change == Change::none && notice.window == m_watched && saysWhoseItIs(notice.atom))
                change = Change::window;
        } else if (kind == XCB_DESTROY_NOTIFY) {
            change = Change::activation;
        }
    }
    return change;
}

// A window may become another application's while it is in front: some programs tell which one it is only after it has
// come up.
bool X11RunningApplications::saysWhoseItIs(std::uint32_t property) const {
    if (property == XCB_ATOM_WM_CLASS || property == XCB_ATOM_WM_NAME) return true;
    for (const X11Atom name : {X11Atom::windowName, X11Atom::windowRole, X11Atom::desktopFile, X11Atom::gtkApplication,
                               X11Atom::bamfDesktopFile})
        if (property == m_connection->atom(name)) return true;
    return false;
}

std::optional<FrontmostApp> X11RunningApplications::readFrontmost() {
    const auto& connection = *m_connection;
    const auto window = X11Connection::number(
        connection.property(connection.requestProperty(connection.root(), connection.atom(X11Atom::activeWindow))));
    watch(window.value_or(XCB_WINDOW_NONE));
    if (m_watched == XCB_WINDOW_NONE) return std::nullopt;
    // A window that is gone meanwhile has no answers, and so no process.
    WindowOwner owner = X11WindowOwner(connection, m_watched).answer();
    if (owner.pid <= 0) return std::nullopt;
    ApplicationIdentity identity;
    if (m_resolver) identity = m_resolver(owner);
    return FrontmostApp{owner.pid, std::move(identity.bundleID), std::move(identity.name), identity.isBrowser,
                        std::move(identity.otherBundleIDs)};
}

// A window manager may go on calling the last window active after it has closed, so its end is watched for.
void X11RunningApplications::watch(std::uint32_t window) {
    if (window == m_watched) return;
    const auto setMask = [&](std::uint32_t mask) {
        if (m_watched != XCB_WINDOW_NONE && m_watched != m_connection->root())
            xcb_change_window_attributes(m_connection->get(), m_watched, XCB_CW_EVENT_MASK, &mask);
    };
    setMask(XCB_EVENT_MASK_NO_EVENT);
    m_watched = window;
    setMask(XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE);
}

void X11RunningApplications::publish(std::optional<FrontmostApp> app) {
    {
        const std::lock_guard lock(m_mutex);
        m_frontmost = app;
    }
    const std::lock_guard notifying(m_notifying);
    if (m_observer) m_observer(std::move(app));
}

} // namespace nomara
