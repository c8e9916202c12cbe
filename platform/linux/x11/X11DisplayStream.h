#pragma once

#include "platform/ApplicationIdentity.h"
#include "platform/DisplayStream.h"

#include <cstdint>
#include <string>

namespace nomara {

enum class X11ImageSource : std::uint8_t {
    windows, ///< where a compositor runs, each window's own pixels; else the screen
    screen,  ///< always the screen, as other programs take it
};

/// Streams of an X server's displays. Where a compositor runs, each image is put together from the own pixels of those
/// windows that may be seen, so whatever else the compositor paints can't be in it. Where none runs, or it lets a
/// window draw on the screen itself, the pixels are the screen's own: excluded windows are in them at first, and where
/// they show, or have left something behind, is painted over in black before anybody gets the image. What they left on
/// a window whose program hung before the stream began can't be told. Each stream has a connection and a thread of its
/// own, which wakes when something was painted or a window moved, and looks at the screen at most once in the interval.
class X11DisplayStreams final : public DisplayStreams {
public:
    /// `resolver` runs on the streams' threads. An empty `display` means $DISPLAY.
    explicit X11DisplayStreams(IdentityResolver resolver, std::string display = {},
                               X11ImageSource source = X11ImageSource::windows);

    std::unique_ptr<DisplayStream> make() override;
    bool isPermitted() override { return true; } ///< an X server lets every program look

private:
    const IdentityResolver m_resolver;
    const std::string m_display;
    const X11ImageSource m_source;
};

} // namespace nomara
