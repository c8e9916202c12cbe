#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace nomara {

/// Tells windows apart that have the same number one after the other: the server gives the numbers of a program that
/// has ended to the next one. A life begins with the first look at a window, and ends with what the server says of that
/// number, or when another process owns it.
class X11WindowLives {
public:
    /// A number that was given out to no other window; never 0.
    std::uint64_t lifeOf(std::uint32_t window, std::int32_t pid, const std::string& processStart);
    /// The server made or destroyed a window of this number.
    void end(std::uint32_t window) { m_lives.erase(window); }
    bool isKnown(std::uint32_t window) const { return m_lives.contains(window); }
    bool isAlive(std::uint32_t window, std::uint64_t life) const;

private:
    struct Life {
        std::uint64_t number = 0;
        std::int32_t pid = 0;
        std::string processStart;
    };

    std::unordered_map<std::uint32_t, Life> m_lives;
    std::uint64_t m_last = 0;
};

} // namespace nomara
