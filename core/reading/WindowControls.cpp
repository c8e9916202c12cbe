#include "core/reading/WindowControls.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <optional>

namespace nomara {

namespace {

constexpr int sameBackground = 4; // of brightness: what a background varies by
constexpr int ink = 22;           // and what letters differ from it by
constexpr int menusWithin = 96;   // pixels of the first scale below a window's upper edge, and of its left one
constexpr int statusWithin = 36;  // above its lower edge
constexpr int leastFlat = 4;      // a part of a plain background's pixels: one in so many
constexpr int fewestMenus = 3;
constexpr double menuGap = 0.5;     // heights, between two menus: more than between two words of most types
constexpr double labelGap = 1;      // heights, between two labels: more than between two words of any type
constexpr double leastBar = 1.6;    // heights, of a bar around its text: more than a highlighted line of an editor
constexpr int shading = 2;          // of brightness, from one row of a bar to the next
constexpr double longestMenu = 9;   // heights
constexpr double longestLabel = 14; // heights: some 25 letters
constexpr double muchText = 1.25;   // on the other background, against that on the controls'

/// What stands in a line with gaps that are wider than those between words.
struct Items {
    int count = 0;
    int longest = 0; // pixels
};

/// What a background's brightness varies between.
struct Shades {
    int darkest = 0;
    int lightest = 0;
    int height = 1; // pixels, of the bar that was looked at
    bool hold(int brightness) const { return brightness >= darkest && brightness <= lightest; }
};

class Window {
public:
    Window(const GrayImage& image, const std::vector<PixelBox>& lines, int strokeScale)
        : m_image(image), m_lines(lines), m_scale(strokeScale) {
        m_backgrounds.reserve(lines.size());
        for (const PixelBox& line : lines)
            m_backgrounds.push_back(commonest({line.left - 2, line.top - 2, line.right + 2, line.bottom + 2}));
    }

    std::vector<bool> controls() const {
        std::vector<bool> are(m_lines.size());
        const auto menus = rowOfMenus();
        if (!menus) return are;
        const auto main = mainBackground(m_backgrounds[*menus]);
        if (!main) return are;
        const Shades text{*main - sameBackground, *main + sameBackground};
        Shades bar = barAround(*menus);
        if (*main > m_backgrounds[*menus])
            bar.lightest = std::min(bar.lightest, text.darkest - 1);
        else
            bar.darkest = std::max(bar.darkest, text.lightest + 1);
        const int textTop = topOf(text, bar);
        for (std::size_t i = 0; i < m_lines.size(); ++i) {
            const PixelBox& line = m_lines[i];
            const bool isShort = itemsOf(i, labelGap).longest <= longestLabel * line.height();
            if (line.bottom <= m_lines[*menus].bottom || isOnOneRow(line, m_lines[*menus]))
                are[i] = true;
            else if (text.hold(m_backgrounds[i]))
                are[i] = isShort && isInLastBar(line);
            else if (bar.hold(m_backgrounds[i]))
                are[i] = (isShort || line.bottom > m_image.height - statusWithin * m_scale) && !isWithin(text, line);
            else
                are[i] = isShort && (line.bottom <= textTop || isWithin(bar, line));
        }
        return are;
    }

private:
    int at(int x, int y) const { return m_image.row(y)[x]; }

    PixelBox inside(const PixelBox& box) const {
        return {std::max(box.left, 0), std::max(box.top, 0), std::min(box.right, m_image.width),
                std::min(box.bottom, m_image.height)};
    }

    /// The brightness that most pixels have, or where they shade off that of the middle one; -1 outside of the window.
    int commonest(const PixelBox& around) const {
        const PixelBox box = inside(around);
        std::array<int, 256> counts{};
        for (int y = box.top; y < box.bottom; ++y)
            for (int x = box.left; x < box.right; ++x)
                ++counts[static_cast<std::size_t>(at(x, y))];
        if (box.isEmpty()) return -1;
        const int all = box.width() * box.height();
        const auto most = std::ranges::max_element(counts);
        if (*most * leastFlat >= all) return static_cast<int>(most - counts.begin());
        int middle = 0;
        for (int below = 0; 2 * (below += counts[static_cast<std::size_t>(middle)]) < all;)
            ++middle;
        return middle;
    }

    Items itemsOf(std::size_t number, double gap) const {
        const PixelBox& line = m_lines[number];
        Items items;
        int start = -1, end = -1; // of the item
        for (int x = line.left; x < line.right; ++x) {
            bool isEmpty = true;
            for (int y = line.top; isEmpty && y < line.bottom; ++y)
                isEmpty = std::abs(at(x, y) - m_backgrounds[number]) <= ink;
            if (isEmpty) continue;
            if (start < 0 || x - end > gap * line.height()) {
                start = x;
                ++items.count;
            }
            end = x + 1;
            items.longest = std::max(items.longest, end - start);
        }
        return items;
    }

    static bool isOnOneRow(const PixelBox& a, const PixelBox& b) {
        const int shared = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
        return 2 * shared > std::min(a.height(), b.height());
    }

    /// The bar that a line stands in, looked at behind its row.
    Shades barAround(std::size_t number) const {
        const PixelBox& line = m_lines[number];
        int x = line.right;
        for (const PixelBox& other : m_lines)
            if (isOnOneRow(line, other) && other.left < x + 2 * line.height()) x = std::max(x, other.right);
        x = std::min(x + line.height(), m_image.width - 1);
        const int middle = (line.top + line.bottom) / 2;
        Shades bar{at(x, middle) - sameBackground, at(x, middle) + sameBackground};
        for (const int step : {-1, 1})
            for (int y = middle; y + step >= 0 && y + step < m_image.height; y += step) {
                if (std::abs(at(x, y + step) - at(x, y)) > shading || bar.height > 4 * line.height()) break;
                bar.darkest = std::min(bar.darkest, at(x, y + step) - sameBackground);
                bar.lightest = std::max(bar.lightest, at(x, y + step) + sameBackground);
                ++bar.height;
            }
        return bar;
    }

    /// The first line of the uppermost row that begins at the left and holds nothing but a few short items.
    std::optional<std::size_t> rowOfMenus() const {
        const int within = menusWithin * m_scale;
        for (std::size_t i = 0; i < m_lines.size() && m_lines[i].top < within; ++i) {
            if (m_lines[i].left > within) continue;
            Items row;
            for (std::size_t j = 0; j < m_lines.size() && m_lines[j].top < within; ++j) {
                if (!isOnOneRow(m_lines[i], m_lines[j])) continue;
                if (std::abs(m_backgrounds[i] - m_backgrounds[j]) > sameBackground) row.longest = m_image.width;
                const Items items = itemsOf(j, menuGap);
                row.count += items.count;
                row.longest = std::max(row.longest, items.longest);
            }
            const int h = m_lines[i].height();
            if (row.count >= fewestMenus && row.longest <= longestMenu * h && barAround(i).height >= leastBar * h)
                return i;
        }
        return std::nullopt;
    }

    /// On which most of the text stands; absent where that is the controls' own.
    std::optional<int> mainBackground(int controls) const {
        std::array<long, 256> widths{};
        long ofControls = 0;
        for (std::size_t i = 0; i < m_lines.size(); ++i) {
            if (m_backgrounds[i] < 0) continue;
            if (std::abs(m_backgrounds[i] - controls) <= sameBackground)
                ofControls += m_lines[i].width();
            else
                widths[static_cast<std::size_t>(m_backgrounds[i])] += m_lines[i].width();
        }
        const auto most = std::ranges::max_element(widths);
        if (static_cast<double>(*most) < muchText * static_cast<double>(ofControls)) return std::nullopt;
        return static_cast<int>(most - widths.begin());
    }

    /// Where the text begins: above it are more bars, of whatever color, with fields in them.
    int topOf(const Shades& text, const Shades& bar) const {
        int top = m_image.height;
        for (std::size_t i = 0; i < m_lines.size(); ++i)
            if (text.hold(m_backgrounds[i]) && !isWithin(bar, m_lines[i])) top = std::min(top, m_lines[i].top);
        return top;
    }

    /// Of a highlighted line within the text, say.
    bool isWithin(const Shades& background, const PixelBox& line) const {
        const int h = line.height();
        return background.hold(commonest({line.left, line.top - h - 1, line.right, line.top - h + 2})) &&
               background.hold(commonest({line.left, line.bottom + h - 1, line.right, line.bottom + h + 2}));
    }

    /// Below a border that goes all along the window's lower edge.
    bool isInLastBar(const PixelBox& line) const {
        const int top = m_image.height - statusWithin * m_scale;
        if (line.top < top) return false;
        for (int y = std::max(top, 0); y < line.top; ++y) {
            const int color = at(m_image.width / 2, y), above = at(m_image.width / 2, std::max(y - 2, 0));
            if (std::abs(color - above) <= ink) continue;
            int same = 0;
            for (int x = 0; x < m_image.width; ++x)
                same += std::abs(at(x, y) - color) <= sameBackground ? 1 : 0;
            if (same * 20 >= m_image.width * 19) return true;
        }
        return false;
    }

    const GrayImage& m_image;
    const std::vector<PixelBox>& m_lines;
    const int m_scale;
    std::vector<int> m_backgrounds;
};

} // namespace

std::vector<bool> WindowControls::among(const GrayImage& window, const std::vector<PixelBox>& lines, int strokeScale) {
    return Window(window, lines, strokeScale).controls();
}

} // namespace nomara
