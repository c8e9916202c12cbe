#include "platform/linux/libav/HevcEncoder.h"

#include <cmath>
#include <string>

extern "C" {
#include <libavutil/opt.h>
}

namespace nomara::libav {

namespace {

// Reading a picture costs what the run-up to it costs to decode: groups of 60 would save a twentieth of the bytes and
// read half as fast.
constexpr int picturesInAGroup = 30;

// Superfast, with the parts of slower presets that pay on screens: a wide search finds text that was scrolled, small
// transforms keep its edges. What only pays on film is off. Nothing is delayed: no look-ahead, no reordering, no
// threads. x265 would tell its own settings in every stream and write to the terminal; it is asked not to.
constexpr const char* settings = "me=umh:merange=128:rd=3:sao=1:tu-intra-depth=2:tu-inter-depth=2:ctu=32:ref=1:qcomp=1:"
                                 "aq-mode=0:psy-rd=0:psy-rdoq=0:rc-lookahead=0:frame-threads=1:scenecut=0:cutree=0:"
                                 "b-adapt=0:bframes=0:open-gop=0:pools=none:info=0:log-level=none";

// Beyond 34 small text breaks; each step of 4 or so costs about a third more bytes.
int constantRateFactor(double quality) {
    return static_cast<int>(std::lround(50.5 - 45 * quality));
}

[[noreturn]] void fail(int code) {
    throw VideoError("The video encoder failed: " + errorText(code) + ".");
}

} // namespace

HevcEncoder::HevcEncoder(PixelSize size, double quality) {
    const AVCodec* const encoder = avcodec_find_encoder_by_name("libx265");
    if (!encoder) throw VideoError("The video encoder libx265 isn't installed.");
    m_context.reset(avcodec_alloc_context3(encoder));
    if (!m_context) fail(AVERROR(ENOMEM));
    m_context->width = size.width;
    m_context->height = size.height;
    m_context->pix_fmt = AV_PIX_FMT_YUV420P;
    // The rate factor weighs by the declared rate: one picture a second is what it was chosen for.
    m_context->time_base = {1, 1};
    m_context->framerate = {1, 1};
    m_context->gop_size = picturesInAGroup;
    m_context->max_b_frames = 0;
    m_context->thread_count = 1;
    m_context->color_primaries = AVCOL_PRI_BT709;
    m_context->color_trc = AVCOL_TRC_BT709;
    m_context->colorspace = AVCOL_SPC_BT709;
    m_context->color_range = AVCOL_RANGE_MPEG;
    m_context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_opt_set(m_context->priv_data, "preset", "superfast", 0);
    av_opt_set_double(m_context->priv_data, "crf", constantRateFactor(quality), 0);
    av_opt_set(m_context->priv_data, "x265-params", settings, 0);
    if (const int code = avcodec_open2(m_context.get(), encoder, nullptr); code < 0) fail(code);
}

Packet HevcEncoder::encode(AVFrame& frame, std::int64_t index) {
    frame.pts = index;
    Packet packet(av_packet_alloc());
    if (!packet) fail(AVERROR(ENOMEM));
    if (const int code = avcodec_send_frame(m_context.get(), &frame); code < 0) fail(code);
    if (const int code = avcodec_receive_packet(m_context.get(), packet.get()); code < 0) fail(code);
    if (packet->pts != index) throw VideoError("The video encoder gave another picture than it was given.");
    return packet;
}

} // namespace nomara::libav
