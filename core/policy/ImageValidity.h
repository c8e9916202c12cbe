#pragma once

#include <cstdint>

namespace nomara {

/// From when on the images of one display may be stored. An image shows what was on the screen when it was taken, which
/// may be longer ago than what is known of the screen now: so only one that was taken after everything was found to be
/// clear counts. Nothing is clear at the start. A plain value; times in monotonic seconds.
class ImageValidity {
public:
    /// What forbids every image until it is released.
    enum class Hold : std::uint8_t {
        notClear = 1, ///< something in front must not be recorded, or nobody has looked yet
        page = 2,     ///< the page in front must not be recorded; another one has to prove itself
        filter = 4,   ///< the stream may not leave out yet what is excluded
    };

    void hold(Hold reason) { m_holds |= bit(reason); }
    /// Images taken after this moment count again, as far as this reason goes. Nothing where it wasn't held.
    void release(Hold reason, double now);
    /// Another window came to the front: what was taken before shows the one before it.
    void contextChanged(double now);

    bool isHeld(Hold reason) const { return (m_holds & bit(reason)) != 0; }
    /// Whether an image taken at that moment may be stored.
    bool allows(double takenAt) const { return m_holds == 0 && takenAt > m_validFrom; }

private:
    static constexpr std::uint8_t bit(Hold reason) { return static_cast<std::uint8_t>(reason); }

    std::uint8_t m_holds = bit(Hold::notClear);
    double m_validFrom = 0;
};

} // namespace nomara
