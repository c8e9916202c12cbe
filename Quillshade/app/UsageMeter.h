#pragma once

#include "core/records/Statistics.h"
#include "platform/ProcessUsage.h"

namespace nomara {

/// What the process has cost since it was last asked. Used by one thread at a time.
class UsageMeter {
public:
    /// `usage` outlives the meter.
    explicit UsageMeter(ProcessUsage& usage) : m_usage(usage), m_last(usage.totals()) {}

    /// CPU time and bytes written since the last call; never less than nothing.
    StatsDelta take();

private:
    ProcessUsage& m_usage;
    ProcessUsage::Totals m_last;
};

} // namespace nomara
