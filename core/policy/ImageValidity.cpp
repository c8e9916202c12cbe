#include "core/policy/ImageValidity.h"

#include <algorithm>

namespace nomara {

void ImageValidity::release(Hold reason, double now) {
    if (!isHeld(reason)) return;
    m_holds = static_cast<std::uint8_t>(m_holds & ~bit(reason));
    m_validFrom = std::max(m_validFrom, now);
}

void ImageValidity::contextChanged(double now) {
    m_validFrom = std::max(m_validFrom, now);
}

} // namespace nomara
