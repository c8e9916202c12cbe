#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include <sys/types.h>

namespace nomara {

/// Remembers which file the connections hold. SQLite goes on with a file that was removed, moved or replaced, and what
/// it writes there is lost. Belongs to the writer's queue.
class DatabaseFile {
public:
    enum class State {
        inPlace,
        removed,  ///< with or without its folder, or moved away
        replaced, ///< another file lies in its place
        away,     ///< its disk has gone, or what leads to it can't be looked at
    };

    /// The file at this path has just been opened.
    void remember(const std::filesystem::path& file);
    /// Costs a question or two to the system.
    State look();
    /// Bytes that the write-ahead log took when it was last looked at.
    std::int64_t logBytes() const { return m_log.bytes; }
    /// Why it is away, as a clause.
    const std::string& reason() const { return m_reason; }
    /// What the log holds belongs to the file that was remembered: it must not be taken for the log of the next one.
    /// To be called once the connections are closed.
    void removeLog() const;

private:
    struct Identity {
        dev_t device = 0;
        ino_t number = 0;
        std::int64_t bytes = 0;
        bool isSame(const Identity& other) const { return device == other.device && number == other.number; }
    };
    static Identity identityOf(const std::filesystem::path& file);

    std::filesystem::path m_file;
    Identity m_database, m_log;
    dev_t m_folderDevice = 0;
    std::string m_reason;
};

} // namespace nomara
