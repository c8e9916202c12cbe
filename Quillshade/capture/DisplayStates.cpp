#include "Quillshade/capture/DisplayStates.h"

#include <utility>

namespace nomara {

DisplayStates::Changes DisplayStates::follow(const TickContext& tick) {
    std::set<DisplayID> ids;
    for (const Display& display : tick.displays)
        ids.insert(display.id);
    std::erase_if(m_validity, [&](const auto& entry) { return !ids.contains(entry.first); });
    // Also of those whose stream is only just starting.
    for (const DisplayID id : ids) {
        if (tick.titlesOnly)
            m_validity[id].hold(ImageValidity::Hold::notClear);
        else
            m_validity[id].release(ImageValidity::Hold::notClear, tick.now);
    }
    return {.displays = std::exchange(m_known, ids) != ids,
            .active = std::exchange(m_active, tick.display.id) != tick.display.id};
}

void DisplayStates::hold(ImageValidity::Hold reason) {
    for (auto& [display, validity] : m_validity)
        validity.hold(reason);
}

void DisplayStates::release(ImageValidity::Hold reason, double now) {
    for (auto& [display, validity] : m_validity)
        validity.release(reason, now);
}

void DisplayStates::forgetStops() {
    for (auto& [display, state] : m_states)
        if (state.heldBack) state.heldBack->isOutdated = true;
}

void DisplayStates::forget() {
    m_states.clear();
    hold(ImageValidity::Hold::notClear);
}

} // namespace nomara
