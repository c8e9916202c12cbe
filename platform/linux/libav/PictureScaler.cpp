#include "platform/linux/libav/PictureScaler.h"

#include <new>

namespace nomara::libav {

namespace {

// Accurate enough that a text's edges come back as they were; averaging areas where a picture shrinks to less than half
// keeps thin strokes visible. On the way back to the screen in its own size the library's quick way takes a sixth of
// the time for less than 1 dB of what the encoder left; whoever writes pictures anew does better without that way.
int method(PixelSize from, PixelSize to, AVPixelFormat toFormat) {
    constexpr int exact = SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
    // The quick way writes sixteen pixels at a time, over the end of a row that isn't made of as many.
    if (toFormat == AV_PIX_FMT_BGRA && from == to)
        return from.width % 16 == 0 && from.height % 2 == 0 ? SWS_BILINEAR : exact | SWS_BILINEAR;
    return exact | (to.width * 2 < from.width ? SWS_AREA : SWS_BICUBIC);
}

// The library takes the tables that fit and frees the others.
bool prepare(Scaler& scaler, PixelSize from, AVPixelFormat fromFormat, PixelSize to, AVPixelFormat toFormat) {
    scaler.reset(sws_getCachedContext(scaler.release(), from.width, from.height, fromFormat, to.width, to.height,
                                      toFormat, method(from, to, toFormat), nullptr, nullptr, nullptr));
    if (!scaler) return false;
    const int* const bt709 = sws_getCoefficients(SWS_CS_ITU709);
    constexpr int whole = 1 << 16; // contrast and saturation as they are
    const int fromFull = fromFormat == AV_PIX_FMT_BGRA, toFull = toFormat == AV_PIX_FMT_BGRA;
    sws_setColorspaceDetails(scaler.get(), bt709, fromFull, bt709, toFull, 0, whole, whole);
    return true;
}

} // namespace

Frame PictureScaler::toVideo(const PixelBuffer& image, PixelSize size) {
    Frame frame(av_frame_alloc());
    if (!frame) return nullptr;
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = size.width;
    frame->height = size.height;
    frame->color_primaries = AVCOL_PRI_BT709;
    frame->color_trc = AVCOL_TRC_BT709;
    frame->colorspace = AVCOL_SPC_BT709;
    frame->color_range = AVCOL_RANGE_MPEG;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    if (!prepare(m_scaler, {image.width, image.height}, AV_PIX_FMT_BGRA, size, AV_PIX_FMT_YUV420P)) return nullptr;
    const std::uint8_t* const planes[] = {image.bytes.data(), nullptr, nullptr, nullptr};
    const int strides[] = {static_cast<int>(image.stride), 0, 0, 0};
    sws_scale(m_scaler.get(), planes, strides, 0, image.height, frame->data, frame->linesize);
    return frame;
}

Image PictureScaler::toScreen(const AVFrame& frame, PixelSize size) {
    const PixelSize from{frame.width, frame.height};
    const auto format = static_cast<AVPixelFormat>(frame.format);
    if (!prepare(m_scaler, from, format, size, AV_PIX_FMT_BGRA)) return nullptr;
    try {
        auto image = std::make_shared<PixelBuffer>(size.width, size.height);
        std::uint8_t* const planes[] = {image->bytes.data(), nullptr, nullptr, nullptr};
        const int strides[] = {static_cast<int>(image->stride), 0, 0, 0};
        sws_scale(m_scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides);
        return image;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace nomara::libav
