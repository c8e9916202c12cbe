#include "core/imaging/TileDigest.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace nomara {

namespace {

// Any odd number with its bits spread out serves; this is the golden ratio's.
constexpr std::uint64_t factor = 0x9e3779b97f4a7c15;

// Turned first, so that what stands in another place counts otherwise.
std::uint64_t mixed(std::uint64_t hash, std::uint64_t value) {
    hash = ((hash << 29U) | (hash >> 35U)) ^ value;
    return hash * factor;
}

} // namespace

TileDigest::TileDigest(const PixelBuffer& image) {
    if (image.width <= 0 || image.height <= 0) return;
    m_width = image.width;
    m_height = image.height;
    const auto size = static_cast<std::size_t>(tileSize);
    const std::size_t width = static_cast<std::size_t>(image.width) * 4; // in bytes
    const std::size_t columns = (static_cast<std::size_t>(image.width) + size - 1) / size;
    const std::size_t rows = (static_cast<std::size_t>(image.height) + size - 1) / size;
    m_tiles.assign(columns * rows, 0);
    for (int y = 0; y < image.height; ++y) {
        const std::uint8_t* const pixels = image.row(y);
        std::uint64_t* const tiles = m_tiles.data() + static_cast<std::size_t>(y) / size * columns;
        for (std::size_t column = 0; column < columns; ++column) {
            std::uint64_t words[tileSize / 2] = {}; // two pixels each
            std::memcpy(words, pixels + column * sizeof words, std::min(sizeof words, width - column * sizeof words));
            std::uint64_t hash = tiles[column];
            for (const std::uint64_t word : words)
                hash = mixed(hash, word);
            tiles[column] = hash;
        }
    }
}

double TileDigest::differentPart(const TileDigest& other) const {
    if (m_width != other.m_width || m_height != other.m_height || m_tiles.empty()) return 1;
    std::size_t different = 0;
    for (std::size_t i = 0; i < m_tiles.size(); ++i)
        different += m_tiles[i] != other.m_tiles[i] ? 1 : 0;
    return double(different) / double(m_tiles.size());
}

std::uint64_t TileDigest::whole() const {
    std::uint64_t hash = 0;
    for (const std::uint64_t tile : m_tiles)
        hash = mixed(hash, tile);
    return hash;
}

} // namespace nomara
