#include "platform/linux/x11/X11RunningApplications.h"

#include "core/text/Graphemes.h"
#include "platform/PlatformError.h"
#include "platform/linux/x11/X11Connection.h"

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
        const bool hasChanged = drainEvents();
        if (!m_connection->isAlive()) {
            publish(std::nullopt);
            return;
        }
        if (hasChanged) {
            publish(readFrontmost());
            continue; // notices may have come in with the answers, where poll() doesn't see them
        }
        pollfd waiting[] = {{xcb_get_file_descriptor(m_connection->get()), POLLIN, 0}, {m_wake, POLLIN, 0}};
        poll(waiting, 2, -1);
    }
}

bool X11RunningApplications::drainEvents() {
    bool hasChanged = false;
    while (const X11Reply<xcb_generic_event_t> event{xcb_poll_for_event(m_connection->get())}) {
        const auto kind = event->response_type & 0x7F;
        if (kind == XCB_PROPERTY_NOTIFY) {
            const auto& notice = *reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
            if (notice.atom == m_connection->atom(X11Atom::activeWindow)) hasChanged = true;
        } else if (kind == XCB_DESTROY_NOTIFY) {
            hasChanged = true;
        }
    }
    return hasChanged;
}

std::optional<FrontmostApp> X11RunningApplications::readFrontmost() {
    const auto& connection = *m_connection;
    const auto window = X11Connection::number(
        connection.property(connection.requestProperty(connection.root(), connection.atom(X11Atom::activeWindow))));
    watch(window.value_or(XCB_WINDOW_NONE));
    if (m_watched == XCB_WINDOW_NONE) return std::nullopt;
    // A window that is gone meanwhile has no answers, and so no process.
    X11WindowProcess process(connection, m_watched);
    const auto classCookie = connection.requestProperty(m_watched, XCB_ATOM_WM_CLASS);
    const auto roleCookie = connection.requestProperty(m_watched, connection.atom(X11Atom::windowRole));
    const auto pid = process.pid();
    auto [instanceName, className] = windowClassOf(connection.property(classCookie));
    const auto role = connection.property(roleCookie);
    if (pid <= 0) return std::nullopt;
    ApplicationIdentity identity;
    if (m_resolver)
        identity = m_resolver(
            {pid, std::move(instanceName), std::move(className), Graphemes::validUTF8(X11Connection::bytes(role))});
    return FrontmostApp{pid, std::move(identity.bundleID), std::move(identity.name), identity.isBrowser};
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
    setMask(XCB_EVENT_MASK_STRUCTURE_NOTIFY);
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
