#pragma once

#include "platform/VideoCodec.h"
#include "platform/linux/libav/MediaFile.h"

#include <cstdint>
#include <vector>

namespace nomara::libav {

/// Where the pictures of a segment's file stand in it. A file that a crash cut short tells of those that are whole.
struct SegmentTable {
    struct Sample {
        std::int64_t offset = 0;
        int size = 0;
        bool isKey = false; ///< readable without any before it
    };

    std::vector<Sample> samples; ///< picture `i` at `i` seconds
    CodecParameters parameters;
    VideoSize size;

    /// Throws DamagedVideo where the file isn't one or its head is missing.
    explicit SegmentTable(MediaFile& file);

    /// The coded picture; absent where it can't be read.
    Packet read(const MediaFile& file, std::size_t index) const;
};

} // namespace nomara::libav
