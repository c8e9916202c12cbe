#pragma once

#include <cstdint>

namespace nomara {

/// What this process has cost the machine since it began. Callable from any thread.
class ProcessUsage {
public:
    virtual ~ProcessUsage() = default;

    struct Totals {
        double cpuSeconds = 0;
        std::int64_t bytesWritten = 0; ///< to disks; what never reached one doesn't count
    };
    /// What can't be told is 0.
    virtual Totals totals() = 0;
};

} // namespace nomara
