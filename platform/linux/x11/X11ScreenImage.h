#pragma once

#include "core/imaging/Image.h"
#include "platform/DisplayStream.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Region.h"

#include <cstdint>

#include <xcb/shm.h>

namespace nomara {

/// Takes pixels off the screen, through memory that is shared with the server where that is on this machine.
/// On one thread.
class X11ScreenImage {
public:
    /// Throws PlatformError when the screen's pixels are of a kind that isn't known here.
    explicit X11ScreenImage(const X11Connection& connection);
    ~X11ScreenImage();
    X11ScreenImage(const X11ScreenImage&) = delete;
    X11ScreenImage& operator=(const X11ScreenImage&) = delete;

    /// Copies what the screen shows at this moment within the area; false when the area isn't wholly on it.
    bool take(const X11Box& area);
    /// What was taken, with the hidden part painted over in black, in the size that is wanted.
    Image image(const X11Region& hidden, PixelSize size);

    bool isShared() const { return m_shared != nullptr; }

private:
    bool share(std::size_t bytes);
    void unshare();

    const X11Connection& m_connection;
    bool m_canShare = false;
    xcb_shm_seg_t m_segment = 0;
    std::uint8_t* m_shared = nullptr;
    std::size_t m_capacity = 0;
    X11Reply<xcb_get_image_reply_t> m_sent; ///< where no memory is shared
    std::uint8_t* m_pixels = nullptr;       ///< of what was taken last
    X11Box m_area;
};

} // namespace nomara
