#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace nomara {

/// The disk that a folder lies on. Callable from any thread.
class Volume {
public:
    virtual ~Volume() = default;

    /// Bytes that the user may still write there; absent where that can't be told.
    virtual std::optional<std::int64_t> availableBytes(const std::filesystem::path& folder) = 0;
};

} // namespace nomara
