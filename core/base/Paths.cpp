#include "core/base/Paths.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nomara::NomaraPaths {

namespace fs = std::filesystem;

namespace {

constexpr mode_t ownerOnly = 0700;
constexpr std::int64_t blockBytes = 512; // the unit of st_blocks, whatever the file system's own

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

fs::path homeDirectory() {
    if (const std::string home = environment("HOME"); !home.empty()) return home;
    const passwd* user = getpwuid(getuid());
    return user == nullptr ? fs::path("/") : fs::path(user->pw_dir);
}

// The XDG base directory rules: a relative path in the variable is invalid and ignored.
fs::path applicationData() {
    if (fs::path set = environment("XDG_DATA_HOME"); set.is_absolute()) return set;
    return homeDirectory() / ".local" / "share";
}

void makeOwnerOnly(const fs::path& folder) {
    if (folder.empty() || fs::is_directory(folder)) return;
    const fs::path parent = folder.has_filename() ? folder.parent_path() : folder.parent_path().parent_path();
    if (parent != folder) makeOwnerOnly(parent);
    if (mkdir(folder.c_str(), ownerOnly) == 0) return;
    int error = errno;
    if (error == EEXIST) {
        // A folder that another process has just made, a file, or a link that leads nowhere.
        struct stat status {};
        error = stat(folder.c_str(), &status) != 0 ? errno : S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
    }
    if (error != 0)
        throw fs::filesystem_error("The folder can't be created", folder,
                                   std::error_code(error, std::generic_category()));
}

std::int64_t allocatedBytes(const fs::path& file, bool regularOnly) {
    struct stat status {};
    if (lstat(file.c_str(), &status) != 0) return 0;
    if (regularOnly && !S_ISREG(status.st_mode)) return 0;
    return static_cast<std::int64_t>(status.st_blocks) * blockBytes;
}

} // namespace

fs::path dataDirectory() {
    if (const std::string set = environment("NOMARA_DATA_DIR"); !set.empty()) return set;
    return applicationData() / "Nomara";
}

fs::path databaseURL() {
    return dataDirectory() / "nomara.sqlite";
}

fs::path framesDirectory() {
    return dataDirectory() / "Frames.noindex";
}

fs::path pendingDirectory() {
    return framesDirectory() / "pending";
}

fs::path segmentsDirectory() {
    return framesDirectory() / "segments";
}

fs::path tmpDirectory() {
    return framesDirectory() / "tmp";
}

fs::path framesFile(const std::string& relativePath) {
    return framesDirectory() / relativePath;
}

void ensureDirectories() {
    for (const fs::path& folder :
         {dataDirectory(), framesDirectory(), pendingDirectory(), segmentsDirectory(), tmpDirectory()})
        makeOwnerOnly(folder);
    // An already private folder on an odd file system must not stop the application.
    static_cast<void>(chmod(dataDirectory().c_str(), ownerOnly));
}

std::int64_t fileSize(const fs::path& file) {
    return allocatedBytes(file, false);
}

std::int64_t directorySize(const fs::path& folder) {
    std::int64_t total = 0;
    std::error_code error;
    fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied, error), end;
    for (; !error && entry != end; entry.increment(error))
        total += allocatedBytes(entry->path(), true);
    return total;
}

} // namespace nomara::NomaraPaths
