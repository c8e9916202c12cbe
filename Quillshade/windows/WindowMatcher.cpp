#include "Quillshade/windows/WindowMatcher.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

namespace nomara::WindowMatcher {

namespace {

bool isAt(const std::optional<Rect>& place, const Rect& frame) {
    return place && isNear(*place, frame);
}

// Browsers tell the accessibility bus more than the window server: "Page - Chromium (Incognito)".
bool titlesAgree(const AccessibleWindow& accessible, const WindowInfo& window) {
    const std::string title = accessible.title.value_or(""), known = window.title.value_or("");
    return known.empty() ? title.empty() : title.starts_with(known);
}

bool bothActive(const AccessibleWindow& accessible, const WindowInfo& window) {
    return accessible.isActive && window.isActive;
}

/// Which pairs are possible; those that are made leave the table.
class Table {
public:
    Table(const std::vector<AccessibleWindow>& accessible, const std::vector<WindowInfo>& onScreen)
        : m_accessible(accessible), m_onScreen(onScreen), m_answer(accessible.size()),
          m_possible(accessible.size(), std::vector<bool>(onScreen.size())) {
        for (std::size_t a = 0; a < accessible.size(); ++a)
            for (std::size_t w = 0; w < onScreen.size(); ++w)
                m_possible[a][w] = canBe(accessible[a], onScreen[w]);
    }

    std::vector<std::optional<std::uint32_t>> solve() {
        while (pairOnly([](const auto&, const auto&) { return true; }) || pairOnly(bothActive) || pairOnly(sameTitle)) {
        }
        return m_answer;
    }

private:
    static bool sameTitle(const AccessibleWindow& accessible, const WindowInfo& window) {
        return accessible.title.value_or("") == window.title.value_or("");
    }

    /// Makes one pair whose two sides have no other possible partner that `rule` accepts.
    template <typename Rule>
    bool pairOnly(Rule rule) {
        for (std::size_t a = 0; a < m_accessible.size(); ++a) {
            const auto accepts = [&](std::size_t i, std::size_t w) {
                return m_possible[i][w] && rule(m_accessible[i], m_onScreen[w]);
            };
            std::size_t count = 0, partner = 0, rivals = 0;
            for (std::size_t w = 0; w < m_onScreen.size(); ++w)
                if (accepts(a, w)) ++count, partner = w;
            if (count != 1) continue;
            for (std::size_t i = 0; i < m_accessible.size(); ++i)
                if (accepts(i, partner)) ++rivals;
            if (rivals != 1) continue;
            m_answer[a] = m_onScreen[partner].number;
            std::fill(m_possible[a].begin(), m_possible[a].end(), false);
            for (auto& row : m_possible)
                row[partner] = false;
            return true;
        }
        return false;
    }

    const std::vector<AccessibleWindow>& m_accessible;
    const std::vector<WindowInfo>& m_onScreen;
    std::vector<std::optional<std::uint32_t>> m_answer;
    std::vector<std::vector<bool>> m_possible;
};

} // namespace

bool isNear(const Rect& a, const Rect& b) {
    constexpr double tolerance = 1;
    return std::abs(a.x - b.x) <= tolerance && std::abs(a.y - b.y) <= tolerance &&
           std::abs(a.width - b.width) <= tolerance && std::abs(a.height - b.height) <= tolerance;
}

bool canBe(const AccessibleWindow& accessible, const WindowInfo& window) {
    return accessible.frame && (isAt(window.bounds, *accessible.frame) || isAt(window.content, *accessible.frame)) &&
           (bothActive(accessible, window) || titlesAgree(accessible, window));
}

std::vector<std::optional<std::uint32_t>> match(const std::vector<AccessibleWindow>& accessible,
                                                const std::vector<WindowInfo>& onScreen) {
    return Table(accessible, onScreen).solve();
}

} // namespace nomara::WindowMatcher
