#pragma once

#include "platform/VideoCodec.h"
#include "platform/linux/libav/Handles.h"

#include <cstdint>

namespace nomara::libav {

/// One session of the encoder. Each picture comes back as a packet from the call that gave it. Costs about 100 MB at
/// 1920 by 1080, until it is destroyed. Used from one thread at a time.
class HevcEncoder {
public:
    /// Throws VideoError.
    HevcEncoder(PixelSize size, double quality);

    /// How the stream is described at the head of its file; the same for every session with these settings.
    const AVCodecContext& context() const { return *m_context; }
    /// The first picture of a session can be read without any before it. Throws VideoError.
    Packet encode(AVFrame& frame, std::int64_t index);

private:
    CodecContext m_context;
};

} // namespace nomara::libav
