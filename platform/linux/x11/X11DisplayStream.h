#pragma once

#include "platform/ApplicationIdentity.h"
#include "platform/DisplayStream.h"

#include <string>

namespace nomara {

/// Streams of an X server's displays. The pixels are the screen's own, so excluded windows are in them at first: where
/// they show, or have left something behind, is painted over in black before anybody gets the image. What they left on
/// a window whose program hung before the stream began can't be told. Each stream has a connection and a thread of its
/// own, which wakes when something was painted or a window moved, and looks at the screen at most once in the interval.
class X11DisplayStreams final : public DisplayStreams {
public:
    /// `resolver` runs on the streams' threads. An empty `display` means $DISPLAY.
    explicit X11DisplayStreams(IdentityResolver resolver, std::string display = {});

    std::unique_ptr<DisplayStream> make() override;
    bool isPermitted() override { return true; } ///< an X server lets every program look

private:
    const IdentityResolver m_resolver;
    const std::string m_display;
};

} // namespace nomara
