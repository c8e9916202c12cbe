#pragma once

#include "Quillshade/capture/RecorderTypes.h"
#include "Quillshade/capture/TickContext.h"
#include "core/policy/ImageValidity.h"

#include <map>
#include <set>

namespace nomara {

/// What is remembered of each display between two looks, and from when on its images may be stored.
class DisplayStates {
public:
    struct Changes {
        bool displays = false; ///< others are there than before
        bool active = false;   ///< the front window has moved to another one
    };

    explicit DisplayStates(DisplayID active) : m_active(active) {}

    /// Takes in which displays there are, and which one the front window lies on.
    Changes follow(const TickContext& tick);
    /// On which the front window lies.
    DisplayID active() const { return m_active; }

    DisplayState& state(DisplayID display) { return m_states[display]; }
    /// Of every display that there is, with a stream or without.
    ImageValidity& validity(DisplayID display) { return m_validity[display]; }

    void hold(ImageValidity::Hold reason);
    void release(ImageValidity::Hold reason, double now);
    /// What was held back may be allowed now: the settings have changed.
    void forgetStops();
    /// Nothing from before counts any more, nor do images.
    void forget();

private:
    std::map<DisplayID, DisplayState> m_states;
    std::map<DisplayID, ImageValidity> m_validity;
    std::set<DisplayID> m_known;
    DisplayID m_active;
};

} // namespace nomara
