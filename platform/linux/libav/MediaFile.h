#pragma once

#include "platform/linux/libav/Handles.h"

#include <cstdint>
#include <filesystem>

namespace nomara::libav {

/// An open file that the libraries read or write through `io()`. Holding the file itself rather than its name, it knows
/// what has reached the disk, and isn't misled when the name goes to another file. Used from one thread at a time.
class MediaFile {
public:
    enum class Mode { read, replace };

    /// Throws VideoError with the system's reason.
    MediaFile(const std::filesystem::path& path, Mode mode);
    ~MediaFile();
    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;

    AVIOContext* io() { return m_io; }
    std::int64_t size() const;
    /// Lets `io()` see the file as if it ended there.
    void endAt(std::int64_t bytes) { m_end = bytes; }
    /// Whether all of these bytes could be read.
    bool read(std::int64_t offset, std::uint8_t* bytes, std::size_t count) const;
    /// Hands what was written to the disk; 0, or the error that met this or an earlier write.
    int sync();
    /// Cuts off what lies behind; for a file that failed to grow.
    void truncate(std::int64_t bytes);
    /// Whether the file still has a name.
    bool isLinked() const;

private:
// From version 61 on libavformat promises not to change what it hands over to be written.
#if LIBAVFORMAT_VERSION_MAJOR >= 61
    using WrittenByte = const std::uint8_t;
#else
    using WrittenByte = std::uint8_t;
#endif

    static int readPacket(void* file, std::uint8_t* bytes, int count);
    static int writePacket(void* file, WrittenByte* bytes, int count);
    static std::int64_t seek(void* file, std::int64_t offset, int whence);

    int m_descriptor = -1;
    std::int64_t m_position = 0;
    std::int64_t m_end = INT64_MAX; // of what is read through m_io
    AVIOContext* m_io = nullptr;
};

/// Makes a new or renamed file's name last.
void syncFolder(const std::filesystem::path& folder);

} // namespace nomara::libav
