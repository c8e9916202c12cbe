#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <vector>

/// What the benchmarks share: a stopwatch and the figures taken from many runs.
namespace nomara::bench {

inline double seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// The same for the time that this thread has been at work: on a machine that does other things meanwhile, the fairer
/// one of the two.
inline double cpuSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// How long `work()` takes, in seconds.
template <typename Work>
double timed(Work&& work, double (*now)() = seconds) {
    const double start = now();
    work();
    return now() - start;
}

/// The value below which `share` (0 to 1) of the samples lie; by nearest rank.
inline double percentile(std::vector<double> samples, double share) {
    if (samples.empty()) return 0;
    std::sort(samples.begin(), samples.end());
    const auto rank = static_cast<std::size_t>(share * static_cast<double>(samples.size() - 1) + 0.5);
    return samples[rank];
}

/// Keeps a result alive, so that the work behind it isn't optimised away.
template <typename T>
void keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

} // namespace nomara::bench
