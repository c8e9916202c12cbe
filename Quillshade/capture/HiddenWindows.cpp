#include "Quillshade/capture/HiddenWindows.h"

#include <algorithm>
#include <utility>

namespace nomara {

HiddenWindows::Change HiddenWindows::update(const RecorderConfig& config) {
    std::vector<std::uint32_t> numbers;
    for (const HiddenWindow& window : m_browserPrivacy.hiddenWindows(config))
        numbers.push_back(window.number);
    if (numbers == m_numbers) return {};
    const auto before = std::exchange(m_numbers, std::move(numbers));
    return {.isAny = true, .hasNew = !std::ranges::includes(before, m_numbers)};
}

} // namespace nomara
