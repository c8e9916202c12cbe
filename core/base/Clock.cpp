#include "core/base/Clock.h"

#include <ctime>

namespace nomara {

namespace {

double read(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

} // namespace

// CLOCK_MONOTONIC stands still while the machine sleeps, so a lid closed for an hour doesn't look like an hour of use.
double SystemClock::uptime() const {
    return read(CLOCK_MONOTONIC);
}

Date SystemClock::now() const {
    return {read(CLOCK_REALTIME)};
}

} // namespace nomara
