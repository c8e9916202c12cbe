#pragma once

#include "platform/Volume.h"

namespace nomara {

/// Asks the file system; what it keeps for the administrator doesn't count.
class DiskVolume final : public Volume {
public:
    std::optional<std::int64_t> availableBytes(const std::filesystem::path& folder) override;
};

} // namespace nomara
