#include "quillshadectl/Memory.h"

#include "core/base/Paths.h"
#include "quillshadectl/Fault.h"

#include <cerrno>
#include <system_error>

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nomara::ctl {

namespace {

namespace fs = std::filesystem;

std::string reason(int code) {
    return std::generic_category().message(code);
}

std::string explainFailedOpening(const fs::path& folder) {
    const std::string start = "The memory in " + folder.string() + " can't be opened: ";
    if (access(NomaraPaths::databaseURL().c_str(), R_OK) != 0) return start + reason(errno) + ".";
    if (access(folder.c_str(), W_OK) != 0)
        return start + "while no program records into it, reading needs leave to write in that folder too.";
    return start + "the file " + NomaraPaths::databaseURL().string() + " can't be read.";
}

} // namespace

MemoryStore openMemory(const fs::path& folder, const Clock& clock) {
    const fs::path file = NomaraPaths::databaseURL();
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        if (errno == ENOENT) throw Fault("There is no memory in " + folder.string() + " yet.");
        throw Fault("The memory in " + folder.string() + " can't be reached: " + reason(errno) + ".");
    }
    if (S_ISREG(status.st_mode) && status.st_size == 0)
        throw Fault("There is no memory in " + folder.string() + " yet.");
    return {file, true, clock};
}

std::string explain(const SQLiteError& error, const fs::path& folder) {
    const std::string file = NomaraPaths::databaseURL().string();
    switch (error.primaryCode()) {
    case SQLITE_NOTADB:
        return "The file " + file + " is not a database.";
    case SQLITE_CORRUPT:
        return "The memory in " + folder.string() + " is damaged (" + error.message() + ").";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return "The memory in " + folder.string() + " is locked by another program; try again in a moment.";
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return explainFailedOpening(folder);
    case SQLITE_ERROR:
        if (error.message().starts_with("no such")) return "The file " + file + " is not a memory of Quillshade's.";
        break;
    default:
        break;
    }
    return "The memory in " + folder.string() + " can't be read (" + error.message() + ").";
}

} // namespace nomara::ctl
