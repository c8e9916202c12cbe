#include "Quillshade/windows/CaptureDiagnostics.h"

#include <ctime>
#include <mutex>

namespace nomara::CaptureDiagnostics {

namespace {

struct Shared {
    std::mutex lock; // guards counters
    Counters counters;
};

Shared& shared() {
    static Shared instance;
    return instance;
}

template <typename Change>
void change(Change change) {
    const std::lock_guard guard(shared().lock);
    change(shared().counters);
}

} // namespace

Counters counters() {
    const std::lock_guard guard(shared().lock);
    return shared().counters;
}

void addURLRead(std::int64_t nanoseconds) {
    change([&](Counters& counters) {
        counters.urlReads += 1;
        counters.urlReadNanoseconds += nanoseconds;
    });
}

void addWindowListRead(std::int64_t nanoseconds) {
    change([&](Counters& counters) {
        counters.windowListReads += 1;
        counters.windowListReadNanoseconds += nanoseconds;
    });
}

void addMaskedImage() {
    change([](Counters& counters) { counters.maskedImages += 1; });
}

void addSkippedImage() {
    change([](Counters& counters) { counters.skippedImages += 1; });
}

std::int64_t threadNanoseconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

} // namespace nomara::CaptureDiagnostics
