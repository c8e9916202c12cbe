#pragma once

#include <cstdint>

namespace nomara {

/// What looking at other programs' windows has cost and prevented since the start, for benchmarks and debugging.
/// Callable from any thread.
namespace CaptureDiagnostics {

struct Counters {
    std::int64_t urlReads = 0;
    std::int64_t urlReadNanoseconds = 0; ///< CPU time of the reading thread
    std::int64_t windowListReads = 0;
    std::int64_t windowListReadNanoseconds = 0; ///< CPU time of the reading thread
    std::int64_t maskedImages = 0;
    std::int64_t skippedImages = 0;
};

Counters counters();
void addURLRead(std::int64_t nanoseconds);
void addWindowListRead(std::int64_t nanoseconds);
void addMaskedImage();
void addSkippedImage();

/// CPU time of the calling thread so far.
std::int64_t threadNanoseconds();

} // namespace CaptureDiagnostics

} // namespace nomara
