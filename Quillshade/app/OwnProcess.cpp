#include "Quillshade/app/OwnProcess.h"

#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace nomara {

void keepToOurselves() {
    umask(077);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

void returnFreedMemory() {
    constexpr int imageBytes = 131'072, keptBytes = 1'048'576, stores = 2;
    mallopt(M_MMAP_THRESHOLD, imageBytes);
    mallopt(M_TRIM_THRESHOLD, keptBytes);
    mallopt(M_ARENA_MAX, stores);
}

} // namespace nomara
