#include "platform/linux/tesseract/LineCache.h"

#include <bit>
#include <cstring>
#include <random>

namespace nomara::tesseract {

namespace {

/// MurmurHash3's 128-bit mixing, from a seed of the process's own: what a page draws can't aim at a key.
class Mixer {
public:
    Mixer() : m_first(seed()), m_second(~seed()) {}

    void add(const std::uint8_t* bytes, std::size_t count) {
        for (; count >= 16; bytes += 16, count -= 16)
            add(word(bytes, 8), word(bytes + 8, 8));
        add(word(bytes, std::min<std::size_t>(count, 8)), count > 8 ? word(bytes + 8, count - 8) : 0);
    }
    void add(std::uint64_t first, std::uint64_t second) {
        m_first ^= std::rotl(first * a, 31) * b;
        m_first = (std::rotl(m_first, 27) + m_second) * 5 + 0x52dce729;
        m_second ^= std::rotl(second * b, 33) * a;
        m_second = (std::rotl(m_second, 31) + m_first) * 5 + 0x38495ab5;
    }
    LineKey key() const {
        const std::uint64_t first = m_first + m_second;
        const std::uint64_t one = final(first), two = final(first + m_second);
        return {{one + two, one + two + two}};
    }

private:
    static constexpr std::uint64_t a = 0x87c37b91114253d5, b = 0x4cf5ad432745937f;

    static std::uint64_t seed() {
        static const std::uint64_t value = [] {
            std::random_device random;
            return std::uint64_t{random()} << 32 | random();
        }();
        return value;
    }
    static std::uint64_t word(const std::uint8_t* bytes, std::size_t count) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes, count);
        return word;
    }
    static std::uint64_t final(std::uint64_t value) {
        value = (value ^ value >> 33) * 0xff51afd7ed558ccd;
        value = (value ^ value >> 33) * 0xc4ceb9fe1a85ec53;
        return value ^ value >> 33;
    }

    std::uint64_t m_first, m_second;
};

// What the list and the table keep for each line besides.
constexpr std::size_t overhead = 160;

std::size_t bytesOf(const ReadLine& line) {
    return overhead + sizeof line + line.text.capacity() + line.symbols.capacity() * sizeof(ReadLine::Symbol);
}

} // namespace

LineKey LineKey::of(const GrayImage& line, std::string_view languages) {
    Mixer mixer;
    mixer.add(static_cast<std::uint64_t>(line.width), static_cast<std::uint64_t>(line.height));
    std::vector<std::uint8_t> name(languages.begin(), languages.end());
    mixer.add(name.size(), 0);
    mixer.add(name.data(), name.size());
    mixer.add(line.bytes.data(), line.bytes.size());
    return mixer.key();
}

std::shared_ptr<const ReadLine> LineCache::find(const LineKey& key) {
    const std::lock_guard lock(m_mutex);
    const auto place = m_places.find(key);
    if (place == m_places.end()) return nullptr;
    m_entries.splice(m_entries.begin(), m_entries, place->second);
    return place->second->line;
}

void LineCache::add(const LineKey& key, std::shared_ptr<const ReadLine> line) {
    const std::size_t bytes = bytesOf(*line);
    const std::lock_guard lock(m_mutex);
    if (m_places.contains(key)) return;
    m_entries.push_front({key, std::move(line), bytes});
    m_places.emplace(key, m_entries.begin());
    m_bytes += bytes;
    while (m_bytes > m_mostBytes && !m_entries.empty()) {
        m_bytes -= m_entries.back().bytes;
        m_places.erase(m_entries.back().key);
        m_entries.pop_back();
    }
}

std::size_t LineCache::bytes() const {
    const std::lock_guard lock(m_mutex);
    return m_bytes;
}

} // namespace nomara::tesseract
