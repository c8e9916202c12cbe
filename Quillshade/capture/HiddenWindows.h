#pragma once

#include "Quillshade/windows/BrowserPrivacy.h"

#include <cstdint>
#include <vector>

namespace nomara {

/// The browser windows that the streams leave out, beside excluded applications, wherever a compositor may paint them.
class HiddenWindows {
public:
    explicit HiddenWindows(BrowserPrivacy& browserPrivacy) : m_browserPrivacy(browserPrivacy) {}

    struct Change {
        bool isAny = false;
        bool hasNew = false; ///< a window is among them that wasn't
    };
    Change update(const RecorderConfig& config);
    /// Sorted.
    const std::vector<std::uint32_t>& numbers() const { return m_numbers; }

private:
    BrowserPrivacy& m_browserPrivacy;
    std::vector<std::uint32_t> m_numbers;
};

} // namespace nomara
