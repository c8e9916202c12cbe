#pragma once

#include "platform/linux/x11/X11Composition.h"
#include "platform/linux/x11/X11ExcludedWindows.h"
#include "platform/linux/x11/X11Stacking.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include <xcb/damage.h>

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
    /// The same, with what composing an image needs to know of the windows. Needs a compositor.
    std::optional<std::vector<X11ComposableWindow>> refreshComposable(double now);
    /// What has been painted since the last time, in the screen's pixels.
    X11Region takeDamage();
    /// What these windows have painted since the last time, where it goes into the image. What a window painted before
    /// it became one of them isn't in it.
    X11Region takePainted(const std::vector<X11Layer>& layers, double now);
    /// Waits until the server has told everything up to now; it is taken in by the next `drain`.
    void synchronise();

    bool hasCompositor() const { return m_compositor != XCB_WINDOW_NONE; }
    /// Whether images are put together from the windows' own pixels now, so that other changes count. To be told after
    /// each look.
    void setComposing(bool isComposing, double now);
    /// Whether something may have changed since the last look.
    bool hasDamage() const;
    /// When something may come to light without a change; absent where nothing waits for that.
    std::optional<double> nextRevealAt() const;
    /// How often a window came, went or moved where one sees it.
    std::uint64_t moves() const { return m_moves; }
    /// Whether displays may have changed since the last time.
    bool takeScreenChange();
    /// The next answer will be yes.
    void expectScreenChange() { m_hasScreenChange = true; }
    /// What must be hidden at this moment.
    X11Region hidden(double now) { return m_stacking.hidden(now); }
    /// What windows haven't painted yet of their own memory.
    const std::map<std::uint32_t, X11Region>& unpainted() const { return m_stacking.unpainted(); }
    /// The moment before which no image of the screen may be taken: windows that are excluded have just moved; or there
    /// is a compositor, which takes its time to let windows come, go and make room for others, and may show pictures of
    /// windows anywhere, in an overview or where one switches between them. So there is no image of the screen at all
    /// then while an excluded program has a window.
    double quietUntil(double now);
    /// True while every stroke is told, of which there may be very many.
    bool isFollowingPainting() const { return !hasCompositor() && !m_strokes.empty(); }

private:
    struct Strokes {
        xcb_window_t top = 0; ///< the child of the root that it is or lies in
        std::uint32_t damage = 0;
        std::uint32_t request = 0; ///< the number of the request that began it
    };

    void handle(const xcb_generic_event_t& event, double now);
    void forgetWindow(xcb_window_t window);
    void handleDamage(const xcb_damage_notify_event_t& notice, std::uint32_t sequence, double now);
    void handleMap(xcb_window_t window, std::uint32_t sequence, double now);
    void handleConfigure(const xcb_configure_notify_event_t& notice, std::uint32_t sequence, double now);
    void handleReparent(const xcb_reparent_notify_event_t& notice, double now);
    void handleProperty(const xcb_property_notify_event_t& notice, double now);
    void handleCompositor(xcb_window_t owner, double now);
    void moved(double now);
    void followPainting(double now);
    bool wantsStrokes(const X11TopWindow& window, double now) const;
    bool isProgramUnpainted(xcb_window_t top) const;
    bool countsAsPainting(const Strokes& strokes, std::uint32_t sequence, double now) const;
    bool wasFollowedAt(xcb_window_t top, std::uint32_t sequence) const;
    void noteBegun(xcb_window_t top, double now);
    void noteUnseen(xcb_window_t top, double now);
    bool isAnyExcluded(double now);
    void assumePainted(const std::vector<X11ComposableWindow>& windows, double now);
    bool followProperties(const std::vector<X11ComposableWindow>& windows);

    const X11Connection& m_connection;
    X11ExcludedWindows m_excluded;
    X11Stacking m_stacking;
    std::uint8_t m_damageEvent = 0, m_fixesEvent = 0, m_randrEvent = 0; // 0 where there is none of the latter
    std::uint32_t m_damage = 0, m_region = 0;
    std::map<xcb_window_t, Strokes> m_strokes; // tell each painting of a window; of those alone that need it
    std::map<xcb_window_t, double> m_movedAt;  // those of them that moved just now
    std::map<xcb_window_t, Strokes> m_changes; // tell that a window has painted, once until that is taken
    std::set<xcb_window_t> m_changed;          // those of them that have told it
    std::set<xcb_window_t> m_layered;          // those that were in the last image
    std::map<xcb_window_t, double> m_unseen;   // windows that may have painted before one followed them, since when
    std::map<xcb_window_t, double> m_begunAt;  // when windows were last given new memory
    std::set<xcb_window_t> m_begunSince;       // windows whose memory is newer than what was last taken as painted
    std::map<xcb_window_t, X11Region> m_programAreas; // what programs look after of one, from its corner
    std::set<xcb_window_t> m_propertied;              // windows whose properties' changes are told
    xcb_window_t m_compositor = XCB_WINDOW_NONE;
    double m_compositorAt = -1e9; // when there was another one, or none
    bool m_hasDamage = true, m_hasScreenChange = false;
    std::uint64_t m_moves = 0;
    double m_lastMoveAt = -1e9, m_lastSwitchAt = -1e9;
    double m_compositedUntil = 0;
    bool m_isComposing = false;
    bool m_mayRedirect = false; // the compositor may give windows memory of their own before the next image
    bool m_isListed = false;    // all windows are known, under this compositor
    std::uint64_t m_lookedMoves = 0;
    double m_excludedAt = -1e9; // when an excluded window was last there
};

} // namespace nomara
