#pragma once

#include "Quillshade/capture/StreamReconciler.h"
#include "Quillshade/capture/TextPass.h"
#include "Quillshade/reading/KnownLines.h"

#include <functional>
#include <optional>
#include <string>

namespace nomara {

class OCRService;
class SegmentManager;
class WindowReading;

/// Stores an image of each display where something has changed, with the text of the front window.
class ImagePass {
public:
    struct Services {
        WindowInspector& inspector;
        BrowserPrivacy& browserPrivacy;
        FrontWindowGuard& guard;
        TextPass& text; ///< for a display that gives no images
        DisplayStates& displays;
        LookLog& log;
        FrameIngest& ingest;
        const StreamReconciler& streams;
        SegmentManager& segments;
        const OCRService& ocr;
        LineDeduper& lines;
        const Clock& clock;
        /// Takes a stored frame's image that could not be read in the tick's time.
        std::function<void(RowID, Date, Image, KnownLines)> readSoon;
        std::function<bool()> isInterrupted;       ///< the user wants something that can't wait
        std::function<void()> willTakeLong;        ///< reading and storing follow
        std::function<bool()> updateHiddenWindows; ///< whether a window is hidden that wasn't
    };

    explicit ImagePass(Services services) : m_services(std::move(services)) {}

    void run(const TickContext& tick);
    /// How long the active display has given no image counts from now on.
    void forgetSilence() { m_imagelessSince.reset(); }

private:
    bool isWithoutImages(const TickContext& tick);
    static bool isUnreadChangeDue(const DisplayState& state, const TickContext& tick);
    void capture(const TickContext& tick, const Display& display, DisplayCapturer& capturer, bool isActive);
    void addProvenLines(std::string& text, const std::vector<UnprovenLine>& lines, const Image& image,
                        const Display& display);
    void read(NewFrame& frame, const Image& image, const std::string& key, const WindowReading& window,
              const Rect& bounds);
    void holdBack(const TickContext& tick, DisplayID display, DisplayCapturer& capturer, SkipReason::Kind reason);
    Image safeImage(const TickContext& tick, const Display& display, const LatestImage& latest);

    const Services m_services;
    double m_readingSecondsLeft = 0;        // of the tick under way
    std::optional<double> m_imagelessSince; // of the active display
    double m_askedForImageAt = -1;          // of the same, whose stream had fallen silent
};

} // namespace nomara
