#pragma once

#include "platform/linux/x11/X11ExcludedWindows.h"
#include "platform/linux/x11/X11Stacking.h"

#include <cstdint>
#include <map>

namespace nomara {

/// Follows what happens on the screen: what is painted, how windows come, go and move, and that displays change.
/// Needs a connection of its own, whose events it takes. On one thread; times are monotonic seconds.
class X11ScreenChanges {
public:
    /// Throws PlatformError where the server doesn't tell what is painted.
    X11ScreenChanges(const X11Connection& connection, const IdentityResolver& resolver);
    X11ScreenChanges(const X11ScreenChanges&) = delete;
    X11ScreenChanges& operator=(const X11ScreenChanges&) = delete;

    /// What showed of windows that were excluded before and aren't any more is given free.
    void setFilter(DisplayStreamFilter filter, double now);

    /// Takes in what the server has told so far; false where it had told nothing.
    bool drain(double now);
    /// Reads all windows anew; false where something moved meanwhile that costs the answer its worth.
    bool refresh(double now);
    /// What has been painted since the last time, in the screen's pixels.
    X11Region takeDamage();
    /// Waits until the server has told everything up to now; it is taken in by the next `drain`.
    void synchronise();

    bool hasDamage() const { return m_hasDamage; }
    /// How often a window came, went or moved where one sees it.
    std::uint64_t moves() const { return m_moves; }
    /// Whether displays may have changed since the last time.
    bool takeScreenChange();
    /// The next answer will be yes.
    void expectScreenChange() { m_hasScreenChange = true; }
    /// What must be hidden at this moment.
    X11Region hidden(double now) { return m_stacking.hidden(now); }
    /// The moment before which no image may be taken: windows that are excluded have just moved; or there is a
    /// compositor, which takes its time to let windows come, go and make room for others. One that may show pictures of
    /// windows anywhere, in an overview or where one switches between them, means no image at all while an excluded
    /// program has a window.
    double quietUntil(double now);
    /// True while every stroke is told, of which there may be very many.
    bool isFollowingPainting() const { return !m_strokes.empty(); }

private:
    void handle(const xcb_generic_event_t& event, double now);
    void handleMap(xcb_window_t window, double now);
    void handleProperty(const xcb_property_notify_event_t& notice, double now);
    void handleCompositor(xcb_window_t owner, double now);
    void moved(double now);
    void followPainting(double now);
    bool countsAsPainting(const xcb_generic_event_t& event, double now) const;
    bool isPlainCompositor() const;

    struct Strokes {
        std::uint32_t damage = 0;
        std::uint32_t request = 0; ///< the number of the request that began it
    };

    const X11Connection& m_connection;
    X11ExcludedWindows m_excluded;
    X11Stacking m_stacking;
    std::uint8_t m_damageEvent = 0, m_fixesEvent = 0, m_randrEvent = 0; // 0 where there is none of the latter
    std::uint32_t m_damage = 0, m_region = 0;
    std::map<xcb_window_t, Strokes> m_strokes; // tell each painting of a window; empty while not needed
    std::map<xcb_window_t, double> m_movedAt;  // those of them that moved just now
    xcb_window_t m_compositor = XCB_WINDOW_NONE;
    double m_compositorAt = -1e9; // when there was another one, or none
    bool m_hasDamage = true, m_hasScreenChange = false;
    std::uint64_t m_moves = 0;
    double m_lastMoveAt = -1e9, m_lastSwitchAt = -1e9;
    double m_compositedUntil = 0;
};

} // namespace nomara
