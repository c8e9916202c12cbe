#pragma once

#include <cstdint>

namespace nomara {

/// The ages at which a memory is thinned, and its ceiling on disk. 0 days mean forever, but for full images.
struct RetentionPolicy {
    std::int64_t fullImageDays = 7;
    std::int64_t keyframeDays = 60;
    std::int64_t textDays = 0;
    std::int64_t diskCapBytes = std::int64_t{10} << 30;
    friend bool operator==(const RetentionPolicy&, const RetentionPolicy&) = default;
};

} // namespace nomara
