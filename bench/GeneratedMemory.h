#pragma once

#include "core/base/Date.h"
#include "core/records/Frames.h"

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace nomara::bench {

/// The words of generated text: one for each rank, the commonest first, as often as Zipf's law has them. Common words
/// are short; about every tenth has a letter beyond ASCII.
class Vocabulary {
public:
    explicit Vocabulary(std::size_t size);

    const std::string& word(std::size_t rank) const { return m_words[rank]; }
    std::size_t size() const { return m_words.size(); }
    const std::string& random(std::mt19937_64& random) const;

private:
    std::vector<std::string> m_words;
    std::vector<double> m_cumulative;
};

/// The days of somebody who works in some thirty applications: windows looked at for a while and returned to, frames a
/// few seconds apart that hold only what is new, and now and then lines seen before. The same for the same count.
class FrameGenerator {
public:
    explicit FrameGenerator(const Vocabulary& vocabulary);
    NewFrame next();

private:
    struct Window {
        std::string bundle, name, title;
        std::optional<std::string> url;
        std::vector<std::string> seen; // the latest lines, some of which come back
    };

    std::uint64_t below(std::uint64_t bound) { return m_random() % bound; }
    std::string phrase(std::uint64_t words);
    std::string line(Window& window);

    const Vocabulary& m_vocabulary;
    std::mt19937_64 m_random;
    std::vector<Window> m_windows;
    std::size_t m_window = 0;
    std::uint64_t m_framesLeft = 0; // in the window, before the next is looked at
    Date m_now;
};

/// A database file with that many generated frames in `folder`, made when it isn't there yet (200,000 take a minute or
/// two, and about 2 KB of disk each).
std::filesystem::path generatedMemory(const std::filesystem::path& folder, std::int64_t frames,
                                      const Vocabulary& vocabulary);

} // namespace nomara::bench
