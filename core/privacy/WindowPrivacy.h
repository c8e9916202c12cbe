#pragma once

#include "core/geometry/Geometry.h"
#include "core/imaging/ImageLayer.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace nomara {

/// One on-screen window of a browser.
struct ScreenWindow {
    std::uint32_t id = 0; ///< the window server's number
    std::int32_t pid = 0;
    Rect frame; ///< global display coordinates
    std::optional<std::string> title;
    bool isPopup = false; ///< a menu, tip, drop-down or drag image, which has no page of its own
    /// The number of the window that it was opened from, as its program says; 0 where it says none, as drag images do.
    std::uint32_t parent = 0;
    /// Tells the window from others that had its number before it or will have it after; 0 where nothing tells.
    std::uint64_t life = 0;
    bool isAlwaysPrivate = false; ///< of a browser that has nothing but private windows
    friend bool operator==(const ScreenWindow&, const ScreenWindow&) = default;
};

/// Whether a display's image may be stored: graded windows in, an image with masks or no image out. Fails closed: what
/// is unknown, absent or moving counts against the image. Pure; runs on the recorder's queue.
namespace WindowPrivacy {

enum class Verdict {
    allow,
    privateWindow,
    excludedSite,
    unknown,     ///< could not be proven harmless
    unconfirmed, ///< harmless now, but not for certain at the moment when the image was taken
};

using Verdicts = std::unordered_map<std::uint32_t, Verdict>; ///< by the window's id
using ProcessVerdicts = std::unordered_map<std::int32_t, Verdict>;

struct Decision {
    bool capture = false;
    /// What to hide in the image, top to bottom, as fractions of the display's size. Empty: a clean image.
    std::vector<Rect> masks;
    friend bool operator==(const Decision&, const Decision&) = default;
};

/// Grades one window. `privateMarker` is what the browser's own controls say, absent if that isn't known.
Verdict verdict(std::optional<std::string_view> title, std::optional<std::string_view> url,
                std::optional<bool> privateMarker, bool skipPrivateWindows,
                const std::vector<std::string>& excludedSites);

/// The one of the two that allows less.
Verdict worse(Verdict one, Verdict other);

/// A grade for every window of the list. One without an entry of its own, such as a menu, takes that of the window that
/// it was opened from; where that isn't known, as with a drag image, the worst of all windows of its process, those in
/// `elsewhere` included, which aren't on the screen. What lies around it says nothing. Without any it is unknown. Where
/// a list names one window twice, no good grade replaces a bad one.
Verdicts resolve(const std::vector<ScreenWindow>& windows, const Verdicts& verdicts,
                 const ProcessVerdicts& elsewhere = {});

/// What becomes of the image of a display. `latest` was listed when the image arrived, `previous` (absent if there was
/// none) when the one before it did; `verdicts` covers both, and a window without a verdict isn't allowed. A window
/// that isn't allowed is masked, `padding` points wider on each side, if it stood still between the lists; otherwise
/// the image is given up.
Decision decide(const std::optional<std::vector<ScreenWindow>>& previous, const std::vector<ScreenWindow>& latest,
                const Verdicts& verdicts, const Rect& display, double padding);

/// The same for an image that was put together from windows' own pixels, of that many pixels: it tells where each
/// shows, so none has to have stood still. A window that isn't in the list is taken for the worst where others of its
/// process are.
Decision decideByLayers(const std::vector<ImageLayer>& layers, const std::vector<ScreenWindow>& latest,
                        const Verdicts& verdicts, double width, double height);

} // namespace WindowPrivacy

} // namespace nomara
