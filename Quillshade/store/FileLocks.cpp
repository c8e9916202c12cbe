#include "Quillshade/store/FileLocks.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>

#include <sys/stat.h>

namespace nomara::FileLocks {

namespace {

constexpr std::uint64_t fileEnd = std::numeric_limits<std::uint64_t>::max();

struct Lock {
    std::string kind; ///< FLOCK, POSIX or OFDLCK
    pid_t process = 0;
    std::uint64_t inode = 0, first = 0, last = fileEnd;
};

/// "1: POSIX  ADVISORY  READ 4242 08:01:131 124 124"; one that waits has an arrow behind its number.
bool read(const std::string& line, Lock& lock) {
    std::istringstream words(line);
    std::string number, mode, access, place, last;
    if (!(words >> number >> lock.kind) || lock.kind == "->") return false;
    if (!(words >> mode >> access >> lock.process >> place >> lock.first >> last)) return false;
    const std::size_t colon = place.rfind(':');
    if (colon == std::string::npos) return false;
    const char* const end = place.data() + place.size();
    if (std::from_chars(place.data() + colon + 1, end, lock.inode).ptr != end) return false;
    lock.last = fileEnd;
    return last == "EOF" || std::from_chars(last.data(), last.data() + last.size(), lock.last).ec == std::errc();
}

// The device isn't compared: some file systems show another one here than to those who ask for a file's.
template <typename Matches>
std::vector<pid_t> holders(const std::filesystem::path& file, const Matches& matches) {
    struct stat status {};
    std::vector<pid_t> processes;
    if (stat(file.c_str(), &status) != 0) return processes;
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        Lock lock;
        if (!read(line, lock) || lock.inode != status.st_ino || lock.process <= 0 || !matches(lock)) continue;
        if (std::ranges::find(processes, lock.process) == processes.end()) processes.push_back(lock.process);
    }
    return processes;
}

} // namespace

std::vector<pid_t> wholeFile(const std::filesystem::path& file) {
    return holders(file, [](const Lock& lock) { return lock.kind == "FLOCK"; });
}

std::vector<pid_t> bytes(const std::filesystem::path& file, std::uint64_t first, std::uint64_t last) {
    return holders(file,
                   [&](const Lock& lock) { return lock.kind != "FLOCK" && lock.first <= last && lock.last >= first; });
}

} // namespace nomara::FileLocks
