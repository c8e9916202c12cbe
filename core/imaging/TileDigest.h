#pragma once

#include "core/imaging/Image.h"

#include <cstdint>
#include <vector>

namespace nomara {

/// A hash for each small square of an image: enough to tell how much of a later image differs, in a thirtieth of the
/// memory. A plain value; nothing in it of an image without pixels.
class TileDigest {
public:
    static constexpr int tileSize = 8; ///< pixels; those at the right and lower edge may be smaller

    TileDigest() = default;
    explicit TileDigest(const PixelBuffer& image);

    /// The share of tiles that differ; all of them where the images have different sizes, or one has no pixels.
    double differentPart(const TileDigest& other) const;
    /// One hash of all tiles.
    std::uint64_t whole() const;

    friend bool operator==(const TileDigest&, const TileDigest&) = default;

private:
    int m_width = 0, m_height = 0; // of the image, in pixels
    std::vector<std::uint64_t> m_tiles;
};

} // namespace nomara
