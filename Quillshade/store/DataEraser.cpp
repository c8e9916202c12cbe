#include "Quillshade/store/DataEraser.h"

#include "core/base/Paths.h"

#include <algorithm>
#include <array>
#include <optional>
#include <system_error>
#include <vector>

namespace nomara {

namespace fs = std::filesystem;

namespace {

class Eraser {
public:
    void empty(const fs::path& folder) {
        std::error_code error;
        // The names first: what is removed while a folder is read may hide others.
        std::vector<fs::path> entries;
        for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
            entries.push_back(entry->path());
        note(folder, error);
        for (const fs::path& entry : entries)
            remove(entry);
    }

    const std::optional<fs::filesystem_error>& failure() const { return m_failure; }

private:
    static bool isOurFolder(const fs::path& path) {
        const std::array<fs::path, 4> ours{NomaraPaths::framesDirectory(), NomaraPaths::pendingDirectory(),
                                           NomaraPaths::segmentsDirectory(), NomaraPaths::tmpDirectory()};
        return std::ranges::find(ours, path) != ours.end();
    }

    void remove(const fs::path& path) {
        std::error_code error;
        const bool isLink = fs::is_symlink(path, error);
        if (isLink && isOurFolder(path) && fs::is_directory(path, error)) return empty(path);
        // A file system keeps this folder in its root, for itself.
        if (path.filename() == "lost+found") return;
        if (!isLink && fs::is_directory(path, error)) empty(path);
        fs::remove(path, error);
        if (error != std::errc::device_or_resource_busy) note(path, error); // an empty mount point
    }

    void note(const fs::path& path, const std::error_code& error) {
        if (error && !m_failure) m_failure.emplace("It can't be erased", path, error);
    }

    std::optional<fs::filesystem_error> m_failure;
};

} // namespace

void eraseDataFolder() {
    std::error_code error;
    // SQLite keeps its log beside the file that a link leads to.
    const fs::path database = fs::canonical(NomaraPaths::databaseURL(), error);
    if (!error)
        for (const char* suffix : {"-wal", "-shm", "-journal", ""})
            fs::remove(fs::path(database) += suffix, error);
    Eraser eraser;
    eraser.empty(NomaraPaths::dataDirectory());
    if (eraser.failure()) throw *eraser.failure();
}

} // namespace nomara
