#pragma once

#include "platform/linux/x11/X11Region.h"
#include "platform/linux/x11/X11Stacking.h"

#include <cstdint>
#include <map>
#include <vector>

namespace nomara {

/// A child of the root, with what composing an image needs to know of it.
struct X11ComposableWindow {
    enum class Role : std::uint8_t {
        absent, ///< not on the screen, or the window manager's own: as if it weren't there
        black,  ///< must not be seen, or isn't known well enough
        seen,
    };
    X11TopWindow top;
    Role role = Role::absent;
    bool isBlended = false; ///< its pixels tell how much of what lies below shows through
    int border = 0;
    X11Region shape;                    ///< on the screen, with its border
    X11Region painted;                  ///< what its programs look after: not a window manager's decorations
    std::int32_t pid = 0;               ///< of the program whose window it is, not of the window manager
    std::vector<std::uint32_t> clients; ///< other programs' windows within it
};

/// A part of a composed image that comes from one window's own pixels.
struct X11Layer {
    std::uint32_t id = 0;
    std::vector<std::uint32_t> clients;
    std::int32_t pid = 0;
    PixelBox bounds;
    int border = 0;
    bool isBlended = false;
    X11Region visible; ///< on the screen: where its pixels go into the image
};

/// What of the windows (the lowest first) goes into an image of this area, the lowest first. A window's pixels are used
/// where neither an opaque nor a black window lies above, and where it isn't `unpainted`, by the window's number and
/// from its own corner. All else is black.
std::vector<X11Layer> composeLayers(const std::vector<X11ComposableWindow>& windows,
                                    const std::map<std::uint32_t, X11Region>& unpainted, const PixelBox& area);

/// Where an image of these layers may differ from one of those before, if no window has painted since.
X11Region changedBetween(const std::vector<X11Layer>& before, const std::vector<X11Layer>& after);

} // namespace nomara
