#include "platform/linux/libav/LibavPictureFiles.h"

#include "platform/linux/libav/Handles.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace nomara {

namespace {

namespace fs = std::filesystem;
using libav::errorText, libav::Frame, libav::Packet, libav::CodecContext;

constexpr int largestSide = 32'768; // pixels; more is no picture of a screen

[[noreturn]] void refuse(const char* what, const fs::path& file, const std::string& reason) {
    throw PictureFileError(std::string("The picture ") + file.string() + " can't be " + what + ": " + reason + ".");
}

struct CloseInput {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
using Input = std::unique_ptr<AVFormatContext, CloseInput>;

Input open(const fs::path& file) {
    // The libraries take what looks like an address for one.
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) refuse("read", file, std::strerror(errno));
    close(descriptor);
    AVFormatContext* input = nullptr;
    const int code = avformat_open_input(&input, ("file:" + file.string()).c_str(), nullptr, nullptr);
    if (code < 0) refuse("read", file, code == AVERROR_INVALIDDATA ? "it is no picture" : errorText(code));
    return Input(input);
}

Frame decode(AVFormatContext& input, const fs::path& file) {
    const AVCodec* codec = nullptr;
    const int stream = av_find_best_stream(&input, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    if (stream < 0 || codec == nullptr) refuse("read", file, "it is no picture");
    const CodecContext context(avcodec_alloc_context3(codec));
    const Packet packet(av_packet_alloc());
    Frame frame(av_frame_alloc());
    if (!context || !packet || !frame) refuse("read", file, "memory is short");
    context->thread_count = 1;
    context->err_recognition |= AV_EF_EXPLODE;
    int code = avcodec_parameters_to_context(context.get(), input.streams[stream]->codecpar);
    if (code >= 0) code = avcodec_open2(context.get(), codec, nullptr);
    while (code >= 0) {
        code = av_read_frame(&input, packet.get());
        if (code < 0 || packet->stream_index != stream) {
            av_packet_unref(packet.get());
            continue;
        }
        code = avcodec_send_packet(context.get(), packet.get());
        av_packet_unref(packet.get());
        if (code >= 0) code = avcodec_receive_frame(context.get(), frame.get());
        if (code != AVERROR(EAGAIN)) break;
        code = 0;
    }
    if (code < 0) refuse("read", file, "it is damaged");
    return frame;
}

Image toImage(const AVFrame& frame, const fs::path& file) {
    if (frame.width <= 0 || frame.height <= 0 || frame.width > largestSide || frame.height > largestSide)
        refuse("read", file, "it is too large");
    const libav::Scaler scaler(sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
                                              frame.width, frame.height, AV_PIX_FMT_BGRA, SWS_BICUBIC, nullptr, nullptr,
                                              nullptr));
    if (!scaler) refuse("read", file, "its colours are of an unknown kind");
    auto image = std::make_shared<PixelBuffer>(frame.width, frame.height);
    std::uint8_t* const planes[] = {image->bytes.data(), nullptr, nullptr, nullptr};
    const int strides[] = {static_cast<int>(image->stride), 0, 0, 0};
    sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides);
    for (std::size_t alpha = 3; alpha < image->bytes.size(); alpha += 4)
        image->bytes[alpha] = 255;
    return image;
}

Frame rgbFrame(const PixelBuffer& image) {
    Frame frame(av_frame_alloc());
    if (!frame) return nullptr;
    frame->format = AV_PIX_FMT_RGB24;
    frame->width = image.width;
    frame->height = image.height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    for (int y = 0; y < image.height; ++y) {
        const std::uint8_t* from = image.row(y);
        std::uint8_t* to = frame->data[0] + static_cast<std::ptrdiff_t>(frame->linesize[0]) * y;
        for (int x = 0; x < image.width; ++x, from += 4, to += 3) {
            to[0] = from[2];
            to[1] = from[1];
            to[2] = from[0];
        }
    }
    return frame;
}

Packet encode(const PixelBuffer& image, const fs::path& file) {
    const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    if (codec == nullptr) refuse("written", file, "the installed libavcodec has no PNG encoder");
    const CodecContext context(avcodec_alloc_context3(codec));
    const Frame frame = rgbFrame(image);
    Packet packet(av_packet_alloc());
    if (!context || !frame || !packet) refuse("written", file, "memory is short");
    context->width = image.width;
    context->height = image.height;
    context->pix_fmt = AV_PIX_FMT_RGB24;
    context->time_base = {1, 1};
    int code = avcodec_open2(context.get(), codec, nullptr);
    if (code >= 0) code = avcodec_send_frame(context.get(), frame.get());
    if (code >= 0) code = avcodec_receive_packet(context.get(), packet.get());
    if (code < 0) refuse("written", file, errorText(code));
    return packet;
}

} // namespace

LibavPictureFiles::LibavPictureFiles() {
    av_log_set_level(AV_LOG_QUIET);
}

Image LibavPictureFiles::read(const fs::path& file) {
    try {
        const Input input = open(file);
        return toImage(*decode(*input, file), file);
    } catch (const std::bad_alloc&) {
        refuse("read", file, "memory is short");
    }
}

void LibavPictureFiles::writePng(const PixelBuffer& image, const fs::path& file) {
    const Packet packet = encode(image, file);
    // Beside the file first: whoever looks finds the old picture or the whole new one.
    std::string draft = file.string() + ".XXXXXX";
    const int descriptor = mkstemp(draft.data());
    if (descriptor < 0) refuse("written", file, std::strerror(errno));
    const auto size = static_cast<std::size_t>(packet->size);
    std::FILE* const stream = fdopen(descriptor, "wb");
    bool written = stream != nullptr && std::fwrite(packet->data, 1, size, stream) == size;
    if (stream != nullptr)
        written = std::fclose(stream) == 0 && written;
    else
        close(descriptor);
    if (written && std::rename(draft.c_str(), file.c_str()) == 0) return;
    const std::string reason = std::strerror(errno);
    std::remove(draft.c_str());
    refuse("written", file, reason);
}

} // namespace nomara
