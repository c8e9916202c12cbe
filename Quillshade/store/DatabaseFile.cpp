#include "Quillshade/store/DatabaseFile.h"

#include <cerrno>
#include <system_error>

#include <sys/stat.h>

namespace nomara {

namespace fs = std::filesystem;

namespace {

fs::path logOf(const fs::path& database) {
    return fs::path(database) += "-wal";
}

bool isMissing(int error) {
    return error == ENOENT || error == ENOTDIR;
}

} // namespace

DatabaseFile::Identity DatabaseFile::identityOf(const fs::path& file) {
    struct stat status {};
    return stat(file.c_str(), &status) == 0 ? Identity{status.st_dev, status.st_ino, status.st_size} : Identity();
}

void DatabaseFile::remember(const fs::path& file) {
    m_file = file;
    m_database = identityOf(file);
    m_log = identityOf(logOf(file));
    m_folderDevice = identityOf(file.parent_path()).device;
}

DatabaseFile::State DatabaseFile::look() {
    struct stat status {};
    if (stat(m_file.c_str(), &status) == 0) {
        if (m_database.isSame({status.st_dev, status.st_ino})) {
            m_log = identityOf(logOf(m_file));
            return State::inPlace;
        }
        if (identityOf(m_file.parent_path()).device == m_folderDevice) return State::replaced;
        m_reason = "another disk lies in its place";
        return State::away;
    }
    int error = errno;
    if (!isMissing(error)) {
        m_reason = std::error_code(error, std::generic_category()).message();
        return State::away;
    }
    // What is left of the way to it tells whether the file went, or the disk that it lies on.
    fs::path folder = m_file.parent_path();
    while (stat(folder.c_str(), &status) != 0) {
        error = errno;
        if (!isMissing(error) || !folder.has_relative_path()) {
            m_reason = std::error_code(error, std::generic_category()).message();
            return State::away;
        }
        folder = folder.parent_path();
    }
    if (status.st_dev == m_folderDevice) return State::removed;
    m_reason = "its disk has gone";
    return State::away;
}

void DatabaseFile::removeLog() const {
    const fs::path log = logOf(m_file);
    const bool isOurs = identityOf(log).isSame(m_log) && m_log.number != 0;
    const bool isLeftOver = identityOf(m_file).number == 0;
    if (!isOurs && !isLeftOver) return;
    std::error_code ignored; // what can't be removed can't be opened either, and that is told
    fs::remove(log, ignored);
    fs::remove(fs::path(m_file) += "-shm", ignored);
}

} // namespace nomara
