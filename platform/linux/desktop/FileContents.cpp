#include "platform/linux/desktop/FileContents.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nomara::FileContents {

namespace {

struct Descriptor {
    explicit Descriptor(int opened) : number(opened) {}
    ~Descriptor() {
        if (number >= 0) close(number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    const int number;
};

} // namespace

std::string read(const std::filesystem::path& file, std::size_t maxBytes) {
    const Descriptor descriptor(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat facts {};
    if (descriptor.number < 0 || fstat(descriptor.number, &facts) != 0 || !S_ISREG(facts.st_mode)) return {};
    // The files of the process system tell no size, so they are read piece by piece.
    constexpr std::size_t pieceSize = 4096;
    std::string text;
    while (text.size() < maxBytes) {
        const std::size_t before = text.size();
        text.resize(std::min(maxBytes, before + pieceSize));
        const ssize_t count = ::read(descriptor.number, text.data() + before, text.size() - before);
        const bool isInterrupted = count < 0 && errno == EINTR;
        text.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (count < 0 && !isInterrupted) return {};
        if (count == 0) break;
    }
    return text;
}

} // namespace nomara::FileContents
