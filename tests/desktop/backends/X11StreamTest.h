#pragma once

#include "platform/linux/x11/X11DisplayStream.h"
#include "tests/desktop/backends/X11Test.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// Colours of the test's windows as 0xRRGGBB, and one that belongs to the excluded program alone.
inline constexpr std::uint32_t red = 0xE01020, green = 0x10C040, blue = 0x2030F0, canary = 0xFF00FE;

/// Excluded: programs whose windows are of this class.
inline constexpr const char* secretClass = "Secret";
inline constexpr const char* secretApplication = "org.example.Secret";

std::uint32_t colourAt(const PixelBuffer& image, int x, int y);
std::size_t countOf(const PixelBuffer& image, std::uint32_t colour);

/// The command of a terminal of the excluded program, filled with the canary's colour.
std::vector<std::string> secretTerminal(const std::string& geometry);

/// A connection to a display; an empty name means the desktop's own.
Connection connectTo(const std::string& display);

/// A window in one colour, past the window manager; without a colour it shows what was there before.
class ColouredWindow {
public:
    ColouredWindow(xcb_connection_t* connection, Rect bounds, std::optional<std::uint32_t> colour);
    ~ColouredWindow();
    ColouredWindow(const ColouredWindow&) = delete;
    ColouredWindow& operator=(const ColouredWindow&) = delete;

    void fill(Rect part, std::uint32_t colour) const;
    void move(int x, int y) const;
    void raise() const;
    void setShown(bool shown) const;

private:
    xcb_connection_t* m_connection;
    xcb_window_t m_window;
};

/// A stream and everything that it has told.
class WatchedStream {
public:
    struct Sample {
        Image image;
        std::vector<Rect> dirty;
        std::optional<std::vector<ImageLayer>> layers;
    };

    WatchedStream(const std::string& server, DisplayID display, DisplayStreamFilter filter = {}, double interval = 0.02,
                  std::function<void()> imageTaken = {}, X11ImageSource source = X11ImageSource::windows);
    ~WatchedStream();
    WatchedStream(const WatchedStream&) = delete;
    WatchedStream& operator=(const WatchedStream&) = delete;

    DisplayStream& stream() { return *m_stream; }
    bool hasStarted() const;
    std::optional<DisplayStreamError> startError() const;
    std::optional<DisplayStreamError> stopError() const;
    std::size_t count() const;
    std::optional<Sample> last() const;
    /// The first image from now on that fits.
    bool shows(const std::function<bool(const PixelBuffer&)>& fits);
    std::vector<Sample> take();
    /// Looks at every image as it comes, on the stream's thread.
    void setOnSample(std::function<void(const PixelBuffer&)> onSample);

private:
    mutable std::mutex m_mutex; // guards the fields below it, but for the stream
    std::optional<std::optional<DisplayStreamError>> m_started;
    std::optional<DisplayStreamError> m_stopped;
    std::vector<Sample> m_samples;
    std::size_t m_count = 0;
    std::function<void(const PixelBuffer&)> m_onSample;
    X11DisplayStreams m_streams;
    std::unique_ptr<DisplayStream> m_stream;
};

} // namespace nomara
