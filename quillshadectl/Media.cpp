#include "quillshadectl/Media.h"

#include "quillshadectl/Fault.h"

#include <filesystem>
#include <string>
#include <system_error>

#include <dlfcn.h>

namespace nomara::ctl {

namespace {

namespace fs = std::filesystem;

constexpr const char* libraryName = "libquillshadectl-media.so";

MediaFunction load() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error).parent_path();
    // Beside the program where it was built, in a folder of its own where it was installed.
    fs::path library = program / libraryName;
    if (!fs::exists(library, error)) library = program / QUILLSHADE_MEDIA_FOLDER / libraryName;
    void* const handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const function = handle == nullptr ? nullptr : dlsym(handle, mediaFunctionName);
    if (function == nullptr) {
        const char* const reason = dlerror();
        throw Fault("What reads pictures can't be loaded: " + std::string(reason == nullptr ? "" : reason) + ".");
    }
    return reinterpret_cast<MediaFunction>(function);
}

} // namespace

const Media& loadedMedia() {
    static const Media* const media = load()();
    return *media;
}

} // namespace nomara::ctl
