#include "Quillshade/capture/WindowReading.h"

#include "core/reading/LineSegmenter.h"
#include "core/reading/WindowControls.h"
#include "core/text/Graphemes.h"
#include "core/text/LanguageGuess.h"

#include <algorithm>
#include <cstddef>

namespace nomara {

namespace {

constexpr std::int64_t enoughText = 250; // characters; a window that tells less may show more

} // namespace

void WindowReading::noteText(const WindowText& text) {
    if (!text.language.empty()) m_languages.push_back(text.language);
    for (std::string& code : LanguageGuess::of(text.text))
        m_languages.push_back(std::move(code));
    // Of some programs a picture tells more than they do, but not of their pages.
    if (text.isPage) m_category = AppCategory::normal;
    if (!m_frame) {
        m_isEnough = Graphemes::count(text.text) >= enoughText;
        return;
    }
    auto places = text.places;
    if (m_category == AppCategory::ocrPreferred)
        std::erase_if(places, [](const TextPlace& place) { return place.kind == TextPlace::Kind::content; });
    m_coverage = TextCoverage(*m_frame, places);
    m_tells = !places.empty();
}

bool WindowReading::needsPicture(const PixelBuffer& image, const Rect& bounds) const {
    if (m_category == AppCategory::ocrPreferred) return true;
    if (!m_frame) return !m_isEnough;
    if (!m_tells) return true;
    if (!m_coverage.leavesMuchOpen() || bounds.isEmpty()) return false;
    const double across = image.width / bounds.width, down = image.height / bounds.height;
    const Rect part = m_frame->intersection(bounds);
    const PixelBox region{static_cast<int>((part.x - bounds.x) * across), static_cast<int>((part.y - bounds.y) * down),
                          static_cast<int>((part.x + part.width - bounds.x) * across),
                          static_cast<int>((part.y + part.height - bounds.y) * down)};
    if (region.isEmpty()) return false;
    const GrayImage window = grayImage(image, region);
    const int scale = LineSegmenter::strokeScale(image.width, image.height);
    const auto lines = LineSegmenter::lines(window, scale);
    const auto areControls = WindowControls::among(window, lines, scale);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const PixelBox& line = lines[i];
        const Rect place{bounds.x + (region.left + line.left) / across, bounds.y + (region.top + line.top) / down,
                         line.width() / across, line.height() / down};
        if (!areControls[i] && !m_coverage.covers(place)) return true;
    }
    return false;
}

std::function<bool(const RelativeRect&)> WindowReading::known(const Rect& bounds) const {
    return [coverage = m_coverage, bounds](const RelativeRect& line) {
        return coverage.covers({bounds.x + line.x * bounds.width, bounds.y + (1 - line.y - line.height) * bounds.height,
                                line.width * bounds.width, line.height * bounds.height});
    };
}

} // namespace nomara
