#pragma once

#include "core/geometry/Geometry.h"
#include "core/imaging/Image.h"
#include "core/imaging/ImageLayer.h"
#include "platform/WindowServer.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// What must never be seen in an image.
struct DisplayStreamFilter {
    std::vector<std::string> excludedApplications; ///< bundle ids; menus and tips of a program go with it
    /// By the window server's numbers, of a program's window or of the frame around it.
    std::vector<std::uint32_t> excludedWindows;
    friend bool operator==(const DisplayStreamFilter&, const DisplayStreamFilter&) = default;
};

struct DisplayStreamConfiguration {
    DisplayID display = 0;
    DisplayStreamFilter filter;
    double intervalSeconds = 1; ///< there is at most one image in this time
    std::string token;          ///< what an earlier stream left, so that the user isn't asked again; may be empty
    friend bool operator==(const DisplayStreamConfiguration&, const DisplayStreamConfiguration&) = default;
};

struct DisplaySample {
    Image image; ///< opaque; of the size that `streamImageSize` tells, another one after the display changed its size
    /// What has changed since the sample before, in the image's pixels; they may overlap. Absent: not known.
    std::optional<std::vector<Rect>> dirty;
    /// The windows that the image is put together from, the lowest first; where none of them is visible it is black.
    /// Absent: it shows what the screen showed.
    std::optional<std::vector<ImageLayer>> layers;
};

/// Why a stream ended or couldn't start.
struct DisplayStreamError {
    enum class Kind {
        failed,
        displayGone,
        connectionLost,
        userEnded,    ///< the user ended it in the system's own control
        notPermitted, ///< the user or the system said no
    };
    Kind kind = Kind::failed;
    std::string message; ///< a sentence for a person
    friend bool operator==(const DisplayStreamError&, const DisplayStreamError&) = default;
};

/// All of them run on the stream's own thread, one after another, and must not stop or destroy the stream.
struct DisplayStreamCallbacks {
    /// Once for each start, which may take minutes where the user is asked; with an error it is the last callback.
    std::function<void(std::optional<DisplayStreamError>)> started;
    /// Runs right after an image was taken, for what has to be known of that same moment. Where a window came, went or
    /// moved meanwhile, the image is thrown away and both are done again; so this may run without a sample.
    /// `age`: how many seconds ago the taking began. What was hidden only after that moment may be in the image.
    std::function<void(double age)> imageTaken;
    std::function<void(DisplaySample)> sample;
    /// At most once, and the last callback: the stream ended, but not by `stop`.
    std::function<void(DisplayStreamError)> stopped;
};

/// The images of one display: one at the start, then only when something has changed. Fails closed: where it isn't
/// certain that no excluded window shows in an image, there is no image.
/// One thread at a time may call this; a stream is started once.
class DisplayStream {
public:
    virtual ~DisplayStream() = default; ///< as `stop`

    /// Returns at once.
    virtual void start(DisplayStreamConfiguration configuration, DisplayStreamCallbacks callbacks) = 0;
    /// Holds for every image that is taken after this has returned.
    virtual void setFilter(DisplayStreamFilter filter) = 0;
    virtual void setInterval(double seconds) = 0;
    /// Asks for an image of the display as it is then, changed or not, as soon as the interval allows it. From any
    /// thread while the stream runs.
    virtual void renew() = 0;
    /// Waits; afterwards there are no callbacks. Nothing where it has ended already.
    virtual void stop() = 0;
    /// What to keep and give to the next stream of this display; empty where nothing needs to be kept.
    virtual std::string token() = 0;
};

/// Makes streams. Callable from any thread.
class DisplayStreams {
public:
    virtual ~DisplayStreams() = default;

    virtual std::unique_ptr<DisplayStream> make() = 0;
    /// Whether images of displays may be taken at all, as far as can be told without asking the user.
    virtual bool isPermitted() = 0;
};

/// The size of a display's images: its pixels, at most 3840 wide, both even.
PixelSize streamImageSize(const Display& display);

} // namespace nomara
