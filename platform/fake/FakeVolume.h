#pragma once

#include "platform/Volume.h"

namespace nomara {

/// A disk whose free space the test sets. For one thread.
class FakeVolume final : public Volume {
public:
    std::optional<std::int64_t> available = 100'000'000'000;
    int questions = 0;

    std::optional<std::int64_t> availableBytes(const std::filesystem::path&) override {
        ++questions;
        return available;
    }
};

} // namespace nomara
