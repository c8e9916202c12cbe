#pragma once

#include "core/imaging/Image.h"
#include "platform/DisplayStream.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Region.h"
#include "platform/linux/x11/X11SharedMemory.h"

#include <cstddef>
#include <cstdint>

namespace nomara {

/// Takes pixels off the screen, through memory that is shared with the server where that is on this machine.
/// On one thread.
class X11ScreenImage {
public:
    /// Throws PlatformError when the screen's pixels are of a kind that isn't known here.
    explicit X11ScreenImage(const X11Connection& connection);

    /// Copies what the screen shows at this moment within the area; false when the area isn't wholly on it.
    bool take(const PixelBox& area);
    /// What was taken, with the hidden part painted over in black, in the size that is wanted.
    Image image(const X11Region& hidden, PixelSize size);

    bool isShared() const { return m_memory.bytes() != nullptr; }

private:
    const X11Connection& m_connection;
    X11SharedMemory m_memory;
    X11Reply<xcb_get_image_reply_t> m_sent; ///< where no memory is shared
    std::uint8_t* m_pixels = nullptr;       ///< of what was taken last
    PixelBox m_area;
};

/// An opaque copy of pixels as the server gives them, in the size that is wanted: an odd last row or column is left
/// off, a wide picture is made smaller. Null where the size doesn't fit.
Image opaqueImage(const std::uint8_t* pixels, std::size_t stride, PixelSize from, PixelSize size);

/// Whether this visual has blue, green, red and one more byte, as every server of the last twenty years has.
bool hasKnownPixels(const X11Connection& connection, xcb_visualid_t visual);

} // namespace nomara
