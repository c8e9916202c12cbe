#include "platform/linux/process/OwnProcessUsage.h"

#include <fstream>
#include <string>

#include <sys/resource.h>

namespace nomara {

namespace {

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

} // namespace

ProcessUsage::Totals OwnProcessUsage::totals() {
    Totals totals;
    rusage usage{};
    if (getrusage(RUSAGE_SELF, &usage) == 0) totals.cpuSeconds = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    std::ifstream counters("/proc/self/io");
    std::string name;
    for (std::int64_t count = 0; counters >> name >> count;) {
        if (name == "write_bytes:") totals.bytesWritten += count;
        // Of files that were removed before anything of them was written out.
        if (name == "cancelled_write_bytes:") totals.bytesWritten -= count;
    }
    return totals;
}

} // namespace nomara
