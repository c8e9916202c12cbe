#pragma once

#include "platform/linux/libav/MediaFile.h"

#include <cstdint>
#include <filesystem>

namespace nomara::libav {

/// An MP4 file that grows by one fragment for each picture and can be read whenever the process ends. Used from one
/// thread at a time.
class SegmentFile {
public:
    /// Throws VideoError.
    SegmentFile(const std::filesystem::path& path, const AVCodecParameters& parameters);
    ~SegmentFile();
    SegmentFile(const SegmentFile&) = delete;
    SegmentFile& operator=(const SegmentFile&) = delete;

    /// Writes the next picture and waits until it is on disk. Throws VideoError; the file then holds what it held
    /// before and must not grow any further.
    void append(AVPacket& packet);
    bool isLinked() const { return m_file.isLinked(); }

private:
    MediaFile m_file;
    AVFormatContext* m_muxer = nullptr;
    AVStream* m_stream = nullptr;
    std::int64_t m_stored = 0; // bytes of whole fragments
};

/// How the pictures of that encoder are described; throws VideoError.
CodecParameters parametersOf(const AVCodecContext& encoder);
/// The video track of a new file, as the segments have it; throws VideoError.
AVFormatContext* beginTrack(AVIOContext* io, const AVCodecParameters& parameters, const char* flags);
/// Times of picture `index` in a track of `beginTrack`.
void stamp(AVPacket& packet, std::int64_t index);

} // namespace nomara::libav
