#include "platform/linux/x11/X11DisplayStream.h"

#include "platform/PlatformError.h"
#include "platform/linux/x11/X11ComposedImage.h"
#include "platform/linux/x11/X11Displays.h"
#include "platform/linux/x11/X11ScreenChanges.h"
#include "platform/linux/x11/X11ScreenImage.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <mutex>
#include <thread>
#include <utility>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace nomara {

namespace {

using Kind = DisplayStreamError::Kind;

// Windows that move all the time are given this many chances in a row, and then a pause.
constexpr int maxTries = 3;
constexpr double pauseSeconds = 0.05;
// While every stroke is told, they are taken in together.
constexpr int strokesMilliseconds = 50;
constexpr double longestWaitSeconds = 3'600;

double uptime() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

PixelBox boxOf(const Rect& rect) {
    return {int(rect.x), int(rect.y), int(rect.x + rect.width), int(rect.y + rect.height)};
}

/// The work of one stream; everything but those that say otherwise is on its thread.
class Worker {
public:
    Worker(IdentityResolver resolver, std::string display, X11ImageSource source,
           DisplayStreamConfiguration configuration, DisplayStreamCallbacks callbacks)
        : m_resolver(std::move(resolver)), m_server(std::move(display)), m_source(source),
          m_display(configuration.display), m_callbacks(std::move(callbacks)),
          m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), m_filter(std::move(configuration.filter)),
          m_interval(configuration.intervalSeconds) {}
    ~Worker() {
        if (m_wake >= 0) close(m_wake);
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void run();

    // From other threads.
    void end();
    void setFilter(DisplayStreamFilter filter);
    void setInterval(double seconds);
    void renew();

private:
    void wait(X11ScreenChanges& changes);
    void wake() const;
    void takeSettings(X11ScreenChanges& changes);
    bool findDisplay();
    void look(X11ScreenChanges& changes, X11ScreenImage& screen, X11ComposedImage& composed);
    enum class Attempt : std::uint8_t { done, again, impossible };
    Attempt tryCompose(X11ScreenChanges& changes, X11ComposedImage& composed);
    Attempt tryLook(X11ScreenChanges& changes, X11ScreenImage& screen);
    void setComposing(X11ScreenChanges& changes, bool isComposing);
    void noteUnchanged();
    X11Region changedPart(const X11Region& hidden) const;
    std::vector<Rect> inImage(const X11Region& region) const;
    bool isSettingsCurrent();

    const IdentityResolver m_resolver;
    const std::string m_server;
    const X11ImageSource m_source;
    const DisplayID m_display;
    const DisplayStreamCallbacks m_callbacks;
    const int m_wake; // an event counter that ends the thread's waiting
    std::atomic<bool> m_ending = false;
    std::atomic<unsigned> m_renewalsAsked = 0;
    unsigned m_renewalsDone = 0;

    std::mutex m_mutex; // guards the four fields below it
    DisplayStreamFilter m_filter;
    double m_interval;
    int m_filterVersion = 1;
    int m_socket = -1; // of the connection, while there is one

    std::unique_ptr<X11Connection> m_connection;
    int m_takenVersion = 0;
    PixelBox m_area; // of the display, on the screen
    PixelSize m_size;
    bool m_isPending = true; // something may have changed since the last image
    X11Region m_dirty;       // what has been painted since then
    X11Region m_lastHidden;  // what was painted over in it
    X11Region m_unread;      // what windows have painted since their pixels were read
    bool m_isComposing = false;
    double m_lastAt = -longestWaitSeconds, m_dueAt = 0;
};

void Worker::run() {
    pthread_setname_np(pthread_self(), ("capture." + std::to_string(m_display)).substr(0, 15).c_str());
    bool hasStarted = false;
    std::optional<DisplayStreamError> error;
    try {
        if (m_wake < 0) throw PlatformError("No more files can be opened.");
        m_connection = std::make_unique<X11Connection>(nullptr, m_server);
        {
            const std::lock_guard lock(m_mutex);
            m_socket = xcb_get_file_descriptor(m_connection->get());
        }
        X11ScreenImage screen(*m_connection);
        X11ComposedImage composed(*m_connection);
        X11ScreenChanges changes(*m_connection, m_resolver);
        if (findDisplay()) {
            hasStarted = true;
            if (!m_ending) m_callbacks.started(std::nullopt);
            while (!m_ending) {
                const bool hadEvents = changes.drain(uptime());
                if (!m_connection->isAlive()) {
                    error = {Kind::connectionLost, "The X server has gone."};
                    break;
                }
                takeSettings(changes);
                if (changes.takeScreenChange() && !findDisplay()) {
                    error = {Kind::displayGone, "The display is no longer there."};
                    break;
                }
                const auto revealAt = changes.nextRevealAt();
                m_isPending = m_isPending || changes.hasDamage() || (revealAt && *revealAt <= uptime());
                if (m_isPending && uptime() >= m_dueAt)
                    look(changes, screen, composed);
                else if (!hadEvents) // else more may have come in with answers, where poll() doesn't see them
                    wait(changes);
            }
        } else {
            error = {Kind::displayGone, "The display is not there."};
        }
    } catch (const PlatformError& failure) {
        error = {Kind::failed, failure.what()};
    }
    {
        const std::lock_guard lock(m_mutex);
        m_socket = -1;
    }
    m_connection.reset();
    if (m_ending || !error) return;
    if (hasStarted)
        m_callbacks.stopped(*error);
    else
        m_callbacks.started(error);
}

void Worker::end() {
    m_ending = true;
    wake();
    // Another program may hold the server to itself; nobody waits for that.
    const std::lock_guard lock(m_mutex);
    if (m_socket >= 0) shutdown(m_socket, SHUT_RDWR);
}

void Worker::setFilter(DisplayStreamFilter filter) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_filter == filter) return;
        m_filter = std::move(filter);
        ++m_filterVersion;
    }
    wake();
}

void Worker::setInterval(double seconds) {
    {
        const std::lock_guard lock(m_mutex);
        m_interval = seconds;
    }
    wake();
}

void Worker::renew() {
    ++m_renewalsAsked;
    wake();
}

void Worker::wake() const {
    const std::uint64_t one = 1;
    // The counter can't be full, so the write can't fail.
    [[maybe_unused]] const auto written = write(m_wake, &one, sizeof one);
}

void Worker::wait(X11ScreenChanges& changes) {
    double until = m_isPending ? m_dueAt : uptime() + longestWaitSeconds;
    if (const auto revealAt = changes.nextRevealAt(); revealAt && !m_isPending) until = std::min(until, *revealAt);
    const double seconds = std::clamp(until - uptime(), 0.0, longestWaitSeconds);
    int milliseconds = int(std::ceil(seconds * 1'000));
    pollfd waiting[] = {{m_wake, POLLIN, 0}, {xcb_get_file_descriptor(m_connection->get()), POLLIN, 0}};
    xcb_flush(m_connection->get());
    if (changes.isFollowingPainting()) {
        waiting[1].events = 0; // a server that goes is noticed all the same
        const int first = std::min(milliseconds, strokesMilliseconds);
        if (poll(waiting, 2, first) == 0 && first < milliseconds) {
            waiting[1].events = POLLIN;
            milliseconds -= first;
            poll(waiting, 2, milliseconds);
        }
    } else {
        poll(waiting, 2, milliseconds);
    }
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = read(m_wake, &count, sizeof count);
}

void Worker::takeSettings(X11ScreenChanges& changes) {
    const std::lock_guard lock(m_mutex);
    m_dueAt = std::max(m_dueAt, m_lastAt + m_interval);
    if (m_dueAt > uptime() + m_interval) m_dueAt = uptime() + m_interval; // it was longer before
    m_isPending = m_isPending || m_renewalsAsked != m_renewalsDone;
    if (m_takenVersion == m_filterVersion) return;
    m_takenVersion = m_filterVersion;
    changes.setFilter(m_filter, uptime());
    m_isPending = true;
}

bool Worker::isSettingsCurrent() {
    const std::lock_guard lock(m_mutex);
    return m_takenVersion == m_filterVersion;
}

bool Worker::findDisplay() {
    const auto displays = readX11Displays(*m_connection);
    const auto found = std::ranges::find(displays, m_display, &Display::id);
    if (found == displays.end()) return !m_connection->isAlive(); // a lost connection is another matter
    const PixelBox area = boxOf(found->bounds);
    if (area == m_area) return true;
    m_area = area;
    m_size = streamImageSize(*found);
    m_dirty = X11Region(area);
    m_lastHidden = {};
    m_isPending = true;
    return true;
}

void Worker::look(X11ScreenChanges& changes, X11ScreenImage& screen, X11ComposedImage& composed) {
    for (int i = 0; i < maxTries && !m_ending; ++i) {
        changes.drain(uptime());
        if (!m_connection->isAlive()) return; // the thread's loop will find out
        Attempt attempt = Attempt::impossible;
        if (m_source == X11ImageSource::windows && changes.hasCompositor() && composed.isAvailable())
            attempt = tryCompose(changes, composed);
        if (attempt == Attempt::impossible) {
            composed.clear();
            setComposing(changes, false);
            attempt = tryLook(changes, screen);
        }
        if (attempt == Attempt::done) return;
    }
    m_dueAt = uptime() + pauseSeconds;
}

void Worker::setComposing(X11ScreenChanges& changes, bool isComposing) {
    changes.setComposing(isComposing, uptime());
    if (m_isComposing == isComposing) return;
    m_isComposing = isComposing;
    m_dirty = X11Region(m_area);
    m_lastHidden = {};
    m_unread = {};
}

// Puts the image together from the pixels of windows that may be seen. The list of them, their pixels and what is told
// with the image belong together: whatever moves meanwhile costs another try.
Worker::Attempt Worker::tryCompose(X11ScreenChanges& changes, X11ComposedImage& composed) {
    const auto moves = changes.moves();
    const auto windows = changes.refreshComposable(uptime());
    if (!windows) return Attempt::again;
    composed.setArea(m_area);
    const auto layers = composeLayers(*windows, changes.unpainted(), m_area);
    m_unread.add(changes.takePainted(layers, uptime()));
    if (changes.moves() != moves || !isSettingsCurrent()) return Attempt::again;
    X11Region changed = changedBetween(composed.layers(), layers);
    changed.add(m_unread);
    const unsigned renewals = m_renewalsAsked;
    const double takenAt = uptime();
    if (composed.update(layers, m_unread) == X11ComposedImage::Result::notRedirected) {
        changes.synchronise();
        changes.drain(uptime());
        return changes.moves() != moves ? Attempt::again : Attempt::impossible;
    }
    setComposing(changes, true);
    m_unread = {};
    m_dirty.add(changed);
    if (m_dirty.isEmpty() && renewals == m_renewalsDone) {
        noteUnchanged();
        return Attempt::done;
    }
    if (m_callbacks.imageTaken) m_callbacks.imageTaken(uptime() - takenAt);
    changes.synchronise();
    changes.drain(uptime());
    if (!m_connection->isAlive() || m_ending) return Attempt::done;
    if (changes.moves() != moves || !isSettingsCurrent()) return Attempt::again;
    Image image = composed.image(m_size);
    if (!image) return Attempt::again;
    DisplaySample sample{std::move(image), inImage(m_dirty), std::vector<ImageLayer>()};
    for (const X11Layer& layer : layers) {
        ImageLayer& part = sample.layers->emplace_back();
        part.windows.push_back(layer.id);
        part.windows.insert(part.windows.end(), layer.clients.begin(), layer.clients.end());
        part.pid = layer.pid;
        part.visible = inImage(layer.visible);
    }
    m_dirty = {};
    m_isPending = false;
    m_renewalsDone = renewals;
    m_lastAt = m_dueAt = takenAt;
    m_callbacks.sample(std::move(sample));
    return Attempt::done;
}

void Worker::noteUnchanged() {
    m_dirty = {};
    m_isPending = false;
    m_lastAt = uptime();
    m_dueAt = m_lastAt; // the settings add the interval
}

// Whatever moves between reading the windows and the end, or isn't known for certain, costs the image.
Worker::Attempt Worker::tryLook(X11ScreenChanges& changes, X11ScreenImage& screen) {
    const auto moves = changes.moves();
    if (!changes.refresh(uptime())) return Attempt::again;
    const double quiet = changes.quietUntil(uptime());
    if (quiet > uptime()) {
        m_dueAt = quiet;
        return Attempt::done;
    }
    m_dirty.add(X11Region(changes.takeDamage()).intersection(m_area));
    changes.drain(uptime());
    if (changes.moves() != moves || !isSettingsCurrent()) return Attempt::again;
    const X11Region hidden = changes.hidden(uptime()).intersection(m_area);
    const X11Region changed = changedPart(hidden);
    const unsigned renewals = m_renewalsAsked;
    if (changed.isEmpty() && renewals == m_renewalsDone) {
        // Only what is hidden has been painted, or the other displays.
        noteUnchanged();
        return Attempt::done;
    }

    const double takenAt = uptime();
    if (!screen.take(m_area)) {
        changes.expectScreenChange(); // the display doesn't lie there any more
        m_dueAt = uptime() + pauseSeconds;
        return Attempt::done;
    }
    if (m_callbacks.imageTaken) m_callbacks.imageTaken(uptime() - takenAt);
    changes.synchronise();
    changes.drain(uptime());
    if (!m_connection->isAlive() || m_ending) return Attempt::done;
    if (changes.moves() != moves || !isSettingsCurrent()) return Attempt::again;
    Image image = screen.image(hidden, m_size);
    if (!image) return Attempt::again;
    m_dirty = {};
    m_lastHidden = hidden;
    m_isPending = false;
    m_renewalsDone = renewals;
    m_lastAt = m_dueAt = takenAt;
    m_callbacks.sample({std::move(image), inImage(changed), std::nullopt});
    return Attempt::done;
}

// What is painted where both images are black hasn't changed; what comes to light or is hidden has.
X11Region Worker::changedPart(const X11Region& hidden) const {
    X11Region changed = m_dirty;
    changed.subtract(hidden.intersection(m_lastHidden));
    X11Region covered = hidden, uncovered = m_lastHidden;
    covered.subtract(m_lastHidden);
    uncovered.subtract(hidden);
    changed.add(covered);
    changed.add(uncovered);
    return changed;
}

// Where the display is wider than its images, a pixel may hold something of those around it.
std::vector<Rect> Worker::inImage(const X11Region& region) const {
    const double width = m_area.right - m_area.left, height = m_area.bottom - m_area.top;
    const bool isCropped = width - m_size.width <= 1 && height - m_size.height <= 1;
    const double x = isCropped ? 1 : m_size.width / width, y = isCropped ? 1 : m_size.height / height;
    const Rect whole{0, 0, double(m_size.width), double(m_size.height)};
    const double margin = isCropped ? 0 : 1;
    std::vector<Rect> parts;
    const X11Region moved = region.intersection(m_area).moved(-m_area.left, -m_area.top);
    for (const PixelBox& box : moved.boxes()) {
        const Rect part = Rect{box.left * x - margin, box.top * y - margin, (box.right - box.left) * x + 2 * margin,
                               (box.bottom - box.top) * y + 2 * margin}
                              .intersection(whole);
        if (!part.isEmpty()) parts.push_back(part);
    }
    return parts;
}

class X11DisplayStream final : public DisplayStream {
public:
    X11DisplayStream(IdentityResolver resolver, std::string display, X11ImageSource source)
        : m_resolver(std::move(resolver)), m_server(std::move(display)), m_source(source) {}
    ~X11DisplayStream() override { stop(); }
    X11DisplayStream(const X11DisplayStream&) = delete;
    X11DisplayStream& operator=(const X11DisplayStream&) = delete;

    void start(DisplayStreamConfiguration configuration, DisplayStreamCallbacks callbacks) override {
        m_worker =
            std::make_unique<Worker>(m_resolver, m_server, m_source, std::move(configuration), std::move(callbacks));
        m_thread = std::thread([this] { m_worker->run(); });
    }
    void setFilter(DisplayStreamFilter filter) override {
        if (m_worker) m_worker->setFilter(std::move(filter));
    }
    void setInterval(double seconds) override {
        if (m_worker) m_worker->setInterval(seconds);
    }
    void renew() override {
        if (m_worker) m_worker->renew();
    }
    void stop() override {
        if (!m_thread.joinable()) return;
        m_worker->end();
        m_thread.join();
    }
    std::string token() override { return {}; }

private:
    const IdentityResolver m_resolver;
    const std::string m_server;
    const X11ImageSource m_source;
    std::unique_ptr<Worker> m_worker;
    std::thread m_thread;
};

} // namespace

X11DisplayStreams::X11DisplayStreams(IdentityResolver resolver, std::string display, X11ImageSource source)
    : m_resolver(std::move(resolver)), m_display(std::move(display)), m_source(source) {}

std::unique_ptr<DisplayStream> X11DisplayStreams::make() {
    return std::make_unique<X11DisplayStream>(m_resolver, m_display, m_source);
}

} // namespace nomara
