#pragma once

#include <cstdint>
#include <string_view>

namespace nomara {

/// FNV-1a, 64 bits, over the bytes as they stand (http://www.isthe.com/chongo/tech/comp/fnv/); going on from `hash`,
/// over what was hashed before and these bytes.
constexpr std::uint64_t fnv1a(std::string_view bytes, std::uint64_t hash = 0xcbf29ce484222325) {
    for (const char byte : bytes) {
        hash ^= static_cast<unsigned char>(byte);
        hash *= 0x100000001b3;
    }
    return hash;
}

} // namespace nomara
