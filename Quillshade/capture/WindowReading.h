#pragma once

#include "core/applications/AppCatalog.h"
#include "core/imaging/Image.h"
#include "core/reading/TextCoverage.h"
#include "core/records/Frames.h"
#include "platform/Accessibility.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// What of one window has to be read from its picture, after what its program has told. A plain value.
class WindowReading {
public:
    /// `frame`: of the window, where it is known.
    WindowReading(const std::optional<Rect>& frame, AppCategory category) : m_frame(frame), m_category(category) {}

    void noteText(const WindowText& text);

    /// Whether the image, of a display with these bounds, shows more text than is known. Looks at the image only where
    /// much of the window is open.
    bool needsPicture(const PixelBuffer& image, const Rect& bounds) const;
    /// Whether a line's text is known, by its place on a picture of these bounds: as a fraction from the bottom left.
    std::function<bool(const RelativeRect&)> known(const Rect& bounds) const;
    /// Those that the window's own text is in.
    const std::vector<std::string>& languages() const { return m_languages; }

private:
    std::optional<Rect> m_frame;
    AppCategory m_category;
    bool m_isEnough = false; ///< the text of a window of which no place is known
    bool m_tells = false;    ///< some of the window is covered
    TextCoverage m_coverage;
    std::vector<std::string> m_languages;
};

} // namespace nomara
