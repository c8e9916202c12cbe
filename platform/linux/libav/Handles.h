#pragma once

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

/// The libraries' objects, each freed in its own way.
namespace nomara::libav {

template <auto free>
struct Freed {
    template <typename T>
    void operator()(T* object) const {
        free(&object);
    }
};

using Frame = std::unique_ptr<AVFrame, Freed<av_frame_free>>;
using Packet = std::unique_ptr<AVPacket, Freed<av_packet_free>>;
using CodecContext = std::unique_ptr<AVCodecContext, Freed<avcodec_free_context>>;
using CodecParameters = std::unique_ptr<AVCodecParameters, Freed<avcodec_parameters_free>>;

struct FreeScaler {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using Scaler = std::unique_ptr<SwsContext, FreeScaler>;

inline std::string errorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

} // namespace nomara::libav
