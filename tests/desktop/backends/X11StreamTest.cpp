#include "tests/desktop/backends/X11StreamTest.h"

#include <cstring>
#include <utility>

namespace nomara {

std::uint32_t colourAt(const PixelBuffer& image, int x, int y) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, image.row(y) + std::size_t(x) * 4, sizeof pixel);
    return pixel & 0xFFFFFF;
}

std::size_t countOf(const PixelBuffer& image, std::uint32_t colour) {
    std::size_t count = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x)
            if (colourAt(image, x, y) == colour) ++count;
    return count;
}

std::vector<std::string> secretTerminal(const std::string& geometry) {
    return {"xterm", "-class",  secretClass, "-T",     "secret", "-bg",   "#ff00fe",
            "-fg",   "#ff00fe", "-geometry", geometry, "-e",     "sleep", "1000"};
}

Connection connectTo(const std::string& display) {
    return Connection(xcb_connect(display.empty() ? nullptr : display.c_str(), nullptr));
}

ColouredWindow::ColouredWindow(xcb_connection_t* connection, Rect bounds, std::optional<std::uint32_t> colour)
    : m_connection(connection), m_window(xcb_generate_id(connection)) {
    const auto* const screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const std::uint32_t values[] = {colour.value_or(XCB_BACK_PIXMAP_NONE), 1};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, m_window, screen->root, std::int16_t(bounds.x),
                      std::int16_t(bounds.y), std::uint16_t(bounds.width), std::uint16_t(bounds.height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      (colour ? XCB_CW_BACK_PIXEL : XCB_CW_BACK_PIXMAP) | XCB_CW_OVERRIDE_REDIRECT, values);
    setShown(true);
}

ColouredWindow::~ColouredWindow() {
    xcb_destroy_window(m_connection, m_window);
    xcb_flush(m_connection);
}

void ColouredWindow::fill(Rect part, std::uint32_t colour) const {
    const xcb_gcontext_t context = xcb_generate_id(m_connection);
    xcb_create_gc(m_connection, context, m_window, XCB_GC_FOREGROUND, &colour);
    const xcb_rectangle_t rectangle{std::int16_t(part.x), std::int16_t(part.y), std::uint16_t(part.width),
                                    std::uint16_t(part.height)};
    xcb_poly_fill_rectangle(m_connection, m_window, context, 1, &rectangle);
    xcb_free_gc(m_connection, context);
    xcb_flush(m_connection);
}

void ColouredWindow::move(int x, int y) const {
    const std::uint32_t values[] = {std::uint32_t(x), std::uint32_t(y)};
    xcb_configure_window(m_connection, m_window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
    xcb_flush(m_connection);
}

void ColouredWindow::raise() const {
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(m_connection, m_window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    xcb_flush(m_connection);
}

void ColouredWindow::setShown(bool shown) const {
    if (shown)
        xcb_map_window(m_connection, m_window);
    else
        xcb_unmap_window(m_connection, m_window);
    xcb_flush(m_connection);
}

WatchedStream::WatchedStream(const std::string& server, DisplayID display, DisplayStreamFilter filter, double interval,
                             std::function<void()> imageTaken, X11ImageSource source)
    : m_streams(
          [](const WindowOwner& owner) {
              ApplicationIdentity identity;
              identity.bundleID = owner.className == secretClass ? secretApplication : "org.example.Other";
              return identity;
          },
          server, source),
      m_stream(m_streams.make()) {
    DisplayStreamCallbacks callbacks;
    callbacks.started = [this](std::optional<DisplayStreamError> error) {
        const std::lock_guard lock(m_mutex);
        m_started = std::move(error);
    };
    if (imageTaken) callbacks.imageTaken = [imageTaken = std::move(imageTaken)](double) { imageTaken(); };
    callbacks.sample = [this](DisplaySample sample) {
        const std::lock_guard lock(m_mutex);
        if (m_onSample) m_onSample(*sample.image);
        ++m_count;
        m_samples.push_back({std::move(sample.image), std::move(*sample.dirty), std::move(sample.layers)});
    };
    callbacks.stopped = [this](DisplayStreamError error) {
        const std::lock_guard lock(m_mutex);
        m_stopped = std::move(error);
    };
    m_stream->start({display, std::move(filter), interval, ""}, std::move(callbacks));
}

WatchedStream::~WatchedStream() {
    m_stream->stop();
}

bool WatchedStream::hasStarted() const {
    const std::lock_guard lock(m_mutex);
    return m_started && !*m_started;
}

std::optional<DisplayStreamError> WatchedStream::startError() const {
    const std::lock_guard lock(m_mutex);
    return m_started ? *m_started : std::nullopt;
}

std::optional<DisplayStreamError> WatchedStream::stopError() const {
    const std::lock_guard lock(m_mutex);
    return m_stopped;
}

std::size_t WatchedStream::count() const {
    const std::lock_guard lock(m_mutex);
    return m_count;
}

std::optional<WatchedStream::Sample> WatchedStream::last() const {
    const std::lock_guard lock(m_mutex);
    return m_samples.empty() ? std::nullopt : std::optional(m_samples.back());
}

bool WatchedStream::shows(const std::function<bool(const PixelBuffer&)>& fits) {
    return waitUntil([&] {
        const auto sample = last();
        return sample && fits(*sample->image);
    });
}

std::vector<WatchedStream::Sample> WatchedStream::take() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_samples, {});
}

void WatchedStream::setOnSample(std::function<void(const PixelBuffer&)> onSample) {
    const std::lock_guard lock(m_mutex);
    m_onSample = std::move(onSample);
}

} // namespace nomara
