#pragma once

#include "platform/VideoCodec.h"
#include "platform/linux/libav/MediaFile.h"
#include "platform/linux/libav/PictureChecksums.h"

#include <cstdint>
#include <span>
#include <vector>

namespace nomara::libav {

/// Where the pictures of a segment's file stand in it. A file that a crash cut short tells of those that are whole.
struct PictureTable {
    struct Sample {
        std::int64_t offset = 0;
        int size = 0;
        bool isKey = false; ///< readable without any before it
    };

    std::vector<Sample> samples; ///< picture `i` at `i` seconds
    CodecParameters parameters;
    PixelSize size;
    bool breaksOff = false; ///< holds more pictures than can be told where they are

    /// Throws DamagedVideo where the file isn't one or its head is missing.
    explicit PictureTable(MediaFile& file);

    /// The coded picture; absent where it can't be read.
    Packet read(const MediaFile& file, std::size_t index) const;
    /// Throws DamagedVideo.
    ChecksumReader checksums(const MediaFile& file) const;
};

inline std::span<const std::uint8_t> bytesOf(const AVPacket& packet) {
    return {packet.data, static_cast<std::size_t>(packet.size)};
}

} // namespace nomara::libav
