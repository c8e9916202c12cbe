#pragma once

#include "core/imaging/Image.h"
#include "platform/VideoCodec.h"
#include "platform/linux/libav/Handles.h"

namespace nomara::libav {

/// Between the pixels of a screen and those of a video (4:2:0, BT.709, limited range), at any two sizes. Keeps its
/// tables for the next picture of the same sizes. Used from one thread at a time.
class PictureScaler {
public:
    /// A frame of that size; absent where memory is short.
    Frame toVideo(const PixelBuffer& image, PixelSize size);
    Image toScreen(const AVFrame& frame, PixelSize size);

private:
    Scaler m_scaler;
};

} // namespace nomara::libav
