#include "core/reading/TextCoverage.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace nomara {

namespace {

constexpr double square = 4;      // points
constexpr double widest = 16'384; // points: no screen is larger; what is beyond counts as outside
// Less than this is what margins and the gaps between controls come to.
constexpr double muchOpen = 0.2;

} // namespace

TextCoverage::TextCoverage(const Rect& window, const std::vector<TextPlace>& places) {
    const bool isUsable = std::isfinite(window.x) && std::isfinite(window.y) && window.width <= widest &&
                          window.height <= widest && !window.isEmpty();
    if (!isUsable) return;
    m_window = window;
    m_columns = static_cast<int>(std::ceil(window.width / square));
    m_rows = static_cast<int>(std::ceil(window.height / square));
    m_squares.assign(static_cast<std::size_t>(m_columns) * static_cast<std::size_t>(m_rows), TextPlace::Kind::open);
    for (const TextPlace& place : places) {
        const Squares part = squaresOf(place.box);
        for (int row = part.top; row < part.bottom; ++row) {
            const auto start = m_squares.begin() + std::ptrdiff_t{row} * m_columns;
            std::fill(start + part.left, start + std::max(part.left, part.right), place.kind);
        }
    }
}

double TextCoverage::openShare() const {
    if (m_squares.empty()) return 1;
    const auto open = std::count(m_squares.begin(), m_squares.end(), TextPlace::Kind::open);
    return static_cast<double>(open) / static_cast<double>(m_squares.size());
}

bool TextCoverage::leavesMuchOpen() const {
    return openShare() >= muchOpen;
}

bool TextCoverage::covers(const Rect& box) const {
    // Half of a line may hang over the window's edge, where it belongs to another one.
    if (m_squares.empty() || !m_window.contains(box.middle())) return false;
    const Squares part = squaresOf(box);
    std::ptrdiff_t known = 0, all = 0;
    for (int row = part.top; row < part.bottom; ++row) {
        const auto start = m_squares.begin() + std::ptrdiff_t{row} * m_columns;
        all += part.right - part.left;
        known += (part.right - part.left) - std::count(start + part.left, start + part.right, TextPlace::Kind::open);
    }
    return all > 0 && known * 2 > all;
}

/// Those that the box meets by half at least, so that neighbours that touch don't share any; but one at least each way
/// of what lies in the window.
TextCoverage::Squares TextCoverage::squaresOf(const Rect& box) const {
    const Rect part = box.intersection(m_window);
    if (part.isEmpty()) return {};
    const auto span = [](double from, double to, int count) {
        int first = static_cast<int>(std::lround(from / square)), last = static_cast<int>(std::lround(to / square));
        if (last <= first) {
            first = static_cast<int>(std::floor(from / square));
            last = first + 1;
        }
        return std::pair(std::clamp(first, 0, count), std::clamp(last, 0, count));
    };
    const auto [left, right] = span(part.x - m_window.x, part.x + part.width - m_window.x, m_columns);
    const auto [top, bottom] = span(part.y - m_window.y, part.y + part.height - m_window.y, m_rows);
    return {left, top, right, bottom};
}

} // namespace nomara
