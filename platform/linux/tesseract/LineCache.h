#pragma once

#include "core/reading/GrayImage.h"
#include "platform/linux/tesseract/TesseractEngine.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>

namespace nomara::tesseract {

/// What a line's pixels and the languages that they are read in come to. Long enough that no two lines of a lifetime
/// share one.
struct LineKey {
    std::array<std::uint64_t, 2> halves{};
    friend bool operator==(const LineKey&, const LineKey&) = default;

    static LineKey of(const GrayImage& line, std::string_view languages);
};

struct LineKeyHash {
    std::size_t operator()(const LineKey& key) const { return key.halves[0]; }
};

/// Lines that have been read, the ones asked for last. Callable from any thread.
class LineCache {
public:
    explicit LineCache(std::size_t mostBytes) : m_mostBytes(mostBytes) {}

    /// Absent where it isn't known.
    std::shared_ptr<const ReadLine> find(const LineKey& key);
    void add(const LineKey& key, std::shared_ptr<const ReadLine> line);
    std::size_t bytes() const;

private:
    struct Entry {
        LineKey key;
        std::shared_ptr<const ReadLine> line;
        std::size_t bytes = 0;
    };

    const std::size_t m_mostBytes;
    mutable std::mutex m_mutex; // guards the three fields below it
    std::list<Entry> m_entries; // the one asked for last in front
    std::unordered_map<LineKey, std::list<Entry>::iterator, LineKeyHash> m_places;
    std::size_t m_bytes = 0;
};

} // namespace nomara::tesseract
