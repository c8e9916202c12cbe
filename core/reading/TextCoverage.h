#pragma once

#include "core/geometry/Geometry.h"

#include <cstdint>
#include <vector>

namespace nomara {

/// A part of a window, and what its program tells of it.
struct TextPlace {
    enum class Kind : std::uint8_t {
        open,     ///< nothing: a picture, or text that wasn't read
        content,  ///< all text that shows there
        controls, ///< that the program's own controls are there, whose names nobody looks for later
    };
    Kind kind{};
    Rect box; ///< global display coordinates
    friend bool operator==(const TextPlace&, const TextPlace&) = default;
};

/// What of a window is known without a picture of it. Kept in squares of four points, a third of a small line of text;
/// as plain data it may be handed to any thread.
class TextCoverage {
public:
    /// Of no window: nothing is covered.
    TextCoverage() = default;
    /// Where places meet, the later one counts.
    TextCoverage(const Rect& window, const std::vector<TextPlace>& places);

    /// The share of the window of which nothing is known, from 0 to 1.
    double openShare() const;
    /// Whether so much is open that a picture may tell more than is known.
    bool leavesMuchOpen() const;
    /// Whether what stands there is known, by the larger part of it. Never of what lies outside the window.
    bool covers(const Rect& box) const;

private:
    struct Squares {
        int left = 0, top = 0, right = 0, bottom = 0;
    };
    Squares squaresOf(const Rect& box) const;

    Rect m_window;
    int m_columns = 0, m_rows = 0;
    std::vector<TextPlace::Kind> m_squares; // row by row
};

} // namespace nomara
