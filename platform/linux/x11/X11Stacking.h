#pragma once

#include "platform/linux/x11/X11Region.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace nomara {

/// A child of the root window.
struct X11TopWindow {
    std::uint32_t id = 0;
    PixelBox bounds;         ///< with its border
    bool isShown = false;    ///< drawn, where nothing lies above it
    bool isOpaque = true;    ///< nothing shows through its bounds: it isn't shaped
    bool isExcluded = false; ///< must never be seen in an image
    friend bool operator==(const X11TopWindow&, const X11TopWindow&) = default;
};

/// Where excluded windows can be seen on the screen, followed change by change in the server's own order: where they
/// show, and where they have left their pixels behind. A window that comes to light, or comes up, without a background
/// shows what was there before until its program paints it, and a program that hangs never does. So what an excluded
/// window leaves is hidden until it has been painted.
///
/// Where a compositor draws the windows, each has memory of its own and leaves nothing on others. But such memory, when
/// it is new, begins with what the screen showed there, and the window's programs have to paint it first.
/// Pure; times are monotonic seconds.
class X11Stacking {
public:
    /// All windows anew, the lowest first. Fits in after changes that weren't followed.
    void reset(std::vector<X11TopWindow> windows, double now);
    /// A window that came, at the top.
    void add(const X11TopWindow& window, double now);
    void remove(std::uint32_t id, double now);
    void setShown(std::uint32_t id, bool isShown, double now);
    void setExcluded(std::uint32_t id, double now);
    /// Moved, resized, restacked; it lies right above `sibling` then, or lowest without one.
    void configure(std::uint32_t id, const PixelBox& bounds, std::uint32_t sibling, double now);
    void restack(std::uint32_t id, bool onTop, double now);
    /// The program of a window has painted here, after the changes told before.
    void painted(std::uint32_t id, const PixelBox& box);
    /// Whether a compositor draws the windows.
    void setComposited(bool isComposited, double now);
    /// Forgets which windows were excluded, and what those left behind. What windows haven't painted stays known.
    void forget();
    /// The server may have given windows new memory just now, or do so before the next change: it begins with what the
    /// screen shows, where others lie above a window with their pixels. Nothing without a compositor.
    void noteNewMemory();
    /// A window hasn't painted this part of its memory.
    void addUnpainted(std::uint32_t id, const X11Region& part);
    /// Takes it as painted by the window's programs, whether that was told or not.
    void assumePainted(std::uint32_t id, const X11Region& part);
    /// What windows haven't painted yet of memory that began with what the screen showed, each from its own corner.
    const std::map<std::uint32_t, X11Region>& unpainted() const { return m_begun; }
    bool isUnpainted(std::uint32_t id) const;

    /// All that must be hidden.
    X11Region hidden(double now);
    bool hasExcluded() const;
    /// When what excluded windows show last changed, or who draws it.
    double changedAt() const { return m_changedAt; }
    const std::vector<X11TopWindow>& windows() const { return m_windows; } ///< the lowest first
    const X11TopWindow* find(std::uint32_t id) const;

private:
    using Place = std::vector<X11TopWindow>::iterator;
    Place place(std::uint32_t id);
    void changed(double now);
    X11Region visible() const;
    X11Region onWindows(const X11Region& region) const;
    void begin(const X11TopWindow& window);
    void carry(const X11TopWindow& window, const PixelBox& bounds, double now);
    void shield(Place window, double now);

    std::vector<X11TopWindow> m_windows;
    X11Region m_visible; ///< what shows of excluded windows
    X11Region m_left;    ///< where they showed before, until painted
    X11Region m_carried; ///< the part of it that the copying of a moved window took along, or seemed to paint over
    double m_carriedAt = 0;
    bool m_isComposited = false;
    std::map<std::uint32_t, X11Region> m_begun; ///< what such a window hasn't painted yet, from its own corner
    double m_changedAt = -1e9;
};

} // namespace nomara
