#pragma once

#include "platform/ProcessUsage.h"

namespace nomara {

/// Asks the kernel, which counts both for all threads.
class OwnProcessUsage final : public ProcessUsage {
public:
    Totals totals() override;
};

} // namespace nomara
