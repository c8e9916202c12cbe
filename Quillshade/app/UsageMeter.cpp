#include "Quillshade/app/UsageMeter.h"

#include <algorithm>
#include <utility>

namespace nomara {

StatsDelta UsageMeter::take() {
    const ProcessUsage::Totals totals = m_usage.totals();
    const ProcessUsage::Totals before = std::exchange(m_last, totals);
    StatsDelta delta;
    delta.cpuSeconds = std::max(totals.cpuSeconds - before.cpuSeconds, 0.0);
    delta.bytesWritten = std::max<std::int64_t>(totals.bytesWritten - before.bytesWritten, 0);
    return delta;
}

} // namespace nomara
