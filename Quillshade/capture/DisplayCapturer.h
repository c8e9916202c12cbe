#pragma once

#include "core/base/Clock.h"
#include "core/privacy/WindowPrivacy.h"
#include "platform/DisplayStream.h"

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace nomara {

/// The newest image of a display, as it is handed over. Without an image all else is empty.
struct LatestImage {
    Image image;
    double dirtyFraction = 0; ///< changed part since the last take, at most 1
    double width = 0;         ///< of the image, in pixels
    double height = 0;
    double latestAt = 0; ///< monotonic seconds
    std::vector<ScreenWindow> latestWindows;
    std::optional<std::vector<ScreenWindow>> previousWindows; ///< as listed with the image before
    /// Which windows the image is put together from, the lowest first; absent where it shows what the screen showed.
    std::optional<std::vector<ImageLayer>> layers;
};

/// Keeps the stream of one display and holds nothing but the newest image and marks about what has changed: an image
/// that nobody takes costs a few comparisons. Samples arrive on the stream's thread; `start`, `stop` and the updates
/// are called by one thread at a time, everything else by any.
class DisplayCapturer {
public:
    /// The browser windows on the screen; runs on the stream's thread with each image.
    using VisibleWindows = std::function<std::vector<ScreenWindow>()>;
    using Started = std::function<void(std::optional<DisplayStreamError>)>;
    /// Runs on the stream's thread, which waits for it: it must not stop or destroy the capturer.
    using OnStop = std::function<void(DisplayCapturer&, const DisplayStreamError&)>;

    struct Marks {
        bool changed = false;        ///< any change since the last take
        double dirtyAccumulated = 0; ///< sum of the changed parts since then; may exceed 1
        double painted = 0;          ///< the same, what was painted again in the same place counted once
    };

    DisplayCapturer(DisplayID display, std::unique_ptr<DisplayStream> stream, const Clock& clock,
                    VisibleWindows visibleWindows);
    /// Stops.
    ~DisplayCapturer();
    DisplayCapturer(const DisplayCapturer&) = delete;
    DisplayCapturer& operator=(const DisplayCapturer&) = delete;

    DisplayID displayID() const { return m_displayID; }

    /// Returns at once; `started` runs once, on the stream's thread.
    void start(DisplayStreamFilter filter, double streamInterval, std::string token, Started started);
    /// Waits; afterwards nothing is called any more.
    void stop();
    /// Holds for every image that is taken after this has returned; asks for one.
    void updateFilter(const DisplayStreamFilter& filter);
    /// The stream goes on, slower or faster.
    void updateInterval(double streamInterval);
    /// What the stream wants kept for the next one; may be empty.
    std::string token();

    /// A stream that has ended before this was set tells it at once.
    void setOnStop(OnStop onStop);

    /// Hands over the newest image and clears the marks; without an image nothing changes.
    LatestImage takeLatest();
    /// Forgets the image and the marks.
    void dropLatest();
    /// The image that was taken can't be used, as it is: asks for another one, which then counts as changed by so much
    /// at least.
    void renew(double dirtyFraction);
    /// Forgets the marks alone.
    void clearMarks();
    Marks marks() const;
    /// When the newest image was taken; absent where there is none.
    std::optional<double> latestAt() const;
    /// Whether the picture has kept moving for the last half minute: a film, or something like it.
    bool looksLikeMotion(double now) const;

private:
    struct Dirt {
        double at = 0, fraction = 0;
    };

    void keep(DisplaySample sample);
    void addPainted(const DisplaySample& sample, double fraction);
    void forgetMarks();
    void streamEnded(const DisplayStreamError& error);

    const DisplayID m_displayID;
    const Clock& m_clock;
    const VisibleWindows m_visibleWindows;
    DisplayStreamConfiguration m_lastConfiguration;
    std::vector<ScreenWindow> m_takenWindows; // on the stream's thread alone: from the image until its sample
    double m_takenAt = 0;                     // likewise

    mutable std::mutex m_lock; // guards the fields below it, but for the stream
    Image m_latest;
    double m_latestAt = 0;
    std::vector<ScreenWindow> m_latestWindows;
    std::optional<std::vector<ScreenWindow>> m_previousWindows;
    std::optional<std::vector<ImageLayer>> m_latestLayers;
    bool m_hasWindowList = false;
    double m_dirtyAccumulated = 0;
    bool m_changed = false;
    double m_owedDirt = 0; ///< changed part of images that were of no use
    double m_painted = 0;
    std::vector<Rect> m_paintedPlaces; // in the image's pixels; not all of them where there are many
    std::deque<Dirt> m_recentDirt;     // the last samples, the oldest first
    OnStop m_onStop;
    std::optional<DisplayStreamError> m_ended; // told to nobody yet

    // Last, so that its thread has ended before anything that it uses goes.
    const std::unique_ptr<DisplayStream> m_stream;
};

} // namespace nomara
