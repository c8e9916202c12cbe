#include "platform/linux/libav/MediaFile.h"

#include "platform/VideoCodec.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nomara::libav {

namespace {

constexpr int bufferBytes = 65'536;

} // namespace

MediaFile::MediaFile(const std::filesystem::path& path, Mode mode) {
    // What stands in the way is removed, not emptied: somebody may be reading it.
    if (mode == Mode::replace) unlink(path.c_str());
    m_descriptor = open(path.c_str(), (mode == Mode::read ? O_RDONLY : O_RDWR | O_CREAT | O_EXCL) | O_CLOEXEC, 0600);
    if (m_descriptor < 0) throw VideoError(path.string() + ": " + std::generic_category().message(errno));
    auto* const buffer = static_cast<unsigned char*>(av_malloc(bufferBytes));
    m_io = avio_alloc_context(buffer, bufferBytes, mode == Mode::replace, this, readPacket, writePacket, seek);
    if (!m_io) {
        av_free(buffer);
        close(m_descriptor);
        throw VideoError("There is too little memory for a video file.");
    }
}

MediaFile::~MediaFile() {
    av_freep(static_cast<void*>(&m_io->buffer));
    avio_context_free(&m_io);
    close(m_descriptor);
}

std::int64_t MediaFile::size() const {
    struct stat status {};
    return fstat(m_descriptor, &status) == 0 ? status.st_size : 0;
}

bool MediaFile::read(std::int64_t offset, std::uint8_t* bytes, std::size_t count) const {
    while (count > 0) {
        const ssize_t got = pread(m_descriptor, bytes, count, offset);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        bytes += got;
        offset += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

int MediaFile::sync() {
    avio_flush(m_io);
    if (m_io->error < 0) return m_io->error;
    return fdatasync(m_descriptor) == 0 ? 0 : AVERROR(errno);
}

void MediaFile::truncate(std::int64_t bytes) {
    // Where even this fails, readers stop at what isn't whole.
    static_cast<void>(!ftruncate(m_descriptor, bytes));
}

bool MediaFile::isLinked() const {
    struct stat status {};
    return fstat(m_descriptor, &status) == 0 && status.st_nlink > 0;
}

int MediaFile::readPacket(void* file, std::uint8_t* bytes, int count) {
    auto* const self = static_cast<MediaFile*>(file);
    count = static_cast<int>(std::min<std::int64_t>(count, self->m_end - self->m_position));
    if (count <= 0) return AVERROR_EOF;
    ssize_t got = 0;
    do {
        got = pread(self->m_descriptor, bytes, static_cast<std::size_t>(count), self->m_position);
    } while (got < 0 && errno == EINTR);
    if (got < 0) return AVERROR(errno);
    if (got == 0) return AVERROR_EOF;
    self->m_position += got;
    return static_cast<int>(got);
}

int MediaFile::writePacket(void* file, WrittenByte* bytes, int count) {
    auto* const self = static_cast<MediaFile*>(file);
    for (int written = 0; written < count;) {
        const ssize_t put =
            pwrite(self->m_descriptor, bytes + written, static_cast<std::size_t>(count - written), self->m_position);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) return AVERROR(errno);
        written += static_cast<int>(put);
        self->m_position += put;
    }
    return count;
}

std::int64_t MediaFile::seek(void* file, std::int64_t offset, int whence) {
    auto* const self = static_cast<MediaFile*>(file);
    switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
        return std::min(self->size(), self->m_end);
    case SEEK_SET:
        break;
    case SEEK_CUR:
        offset += self->m_position;
        break;
    case SEEK_END:
        offset += std::min(self->size(), self->m_end);
        break;
    default:
        return AVERROR(EINVAL);
    }
    return offset < 0 ? AVERROR(EINVAL) : self->m_position = offset;
}

void syncFolder(const std::filesystem::path& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return; // the name isn't lost, it only lasts from a little later on
    static_cast<void>(!fsync(descriptor));
    close(descriptor);
}

} // namespace nomara::libav
