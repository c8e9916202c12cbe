#include "platform/linux/libav/LibavVideoInput.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace nomara {

namespace {

libav::CodecContext openDecoder(const AVCodecParameters& parameters) {
    const AVCodec* const decoder = avcodec_find_decoder(AV_CODEC_ID_HEVC);
    libav::CodecContext context(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (!context || avcodec_parameters_to_context(context.get(), &parameters) < 0)
        throw VideoError("Videos of this kind can't be read here.");
    // Threads would give a picture only once the next ones have been read.
    context->thread_count = 1;
    context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    // A picture with damage isn't the picture that was stored.
    context->err_recognition |= AV_EF_EXPLODE | AV_EF_CAREFUL;
    context->error_concealment = 0;
    // The decoder begins with the description at the head of the file.
    const int code = avcodec_open2(context.get(), decoder, nullptr);
    if (code == AVERROR(ENOMEM)) throw VideoError("There is too little memory to open a video.");
    if (code < 0) throw DamagedVideo("The video can't be opened: " + libav::errorText(code) + ".");
    return context;
}

PixelSize fitted(PixelSize size, int largestSide) {
    const int longer = std::max(size.width, size.height);
    if (largestSide <= 0 || longer <= largestSide) return size;
    const double scale = static_cast<double>(largestSide) / longer;
    const auto scaled = [scale](int side) { return std::max(1, static_cast<int>(std::lround(side * scale))); };
    return {scaled(size.width), scaled(size.height)};
}

[[noreturn]] void fail(std::int64_t index) {
    throw DamagedVideo("Picture " + std::to_string(index) + " of the video is damaged.");
}

} // namespace

LibavVideoInput::LibavVideoInput(const std::filesystem::path& file)
    : m_file(file, libav::MediaFile::Mode::read), m_table(m_file), m_checksums(m_table.checksums(m_file)),
      m_decoder(openDecoder(*m_table.parameters)), m_frame(av_frame_alloc()) {
    if (!m_frame) throw VideoError("There is too little memory to open a video.");
}

Image LibavVideoInput::frame(std::int64_t index, int largestSide) {
    if (index >= frameCount() && m_table.breaksOff) fail(index);
    if (index < 0 || index >= frameCount()) return nullptr;
    seek(index);
    return m_scaler.toScreen(*m_frame, fitted(m_table.size, largestSide));
}

std::int64_t LibavVideoInput::frameBytes(std::int64_t index) const {
    return index < 0 || index >= frameCount() ? 0 : m_table.samples[static_cast<std::size_t>(index)].size;
}

std::int64_t LibavVideoInput::groupStart(std::int64_t index) const {
    std::int64_t start = std::min(index, frameCount() - 1);
    while (start > 0 && !m_table.samples[static_cast<std::size_t>(start)].isKey)
        --start;
    return std::max<std::int64_t>(start, 0);
}

void LibavVideoInput::seek(std::int64_t index) {
    if (m_at == index) return;
    const std::int64_t start = groupStart(index);
    if (m_at < start || m_at > index) {
        avcodec_flush_buffers(m_decoder.get());
        m_at = start - 1;
    }
    for (std::int64_t next = m_at + 1; next <= index; ++next) {
        m_at = -1;
        if (!decode(next)) fail(index);
        m_at = next;
    }
}

bool LibavVideoInput::decode(std::int64_t index) {
    const libav::Packet packet = m_table.read(m_file, static_cast<std::size_t>(index));
    if (!packet || !m_checksums.accepts(libav::bytesOf(*packet), index)) return false;
    if (avcodec_send_packet(m_decoder.get(), packet.get()) < 0) return false;
    if (avcodec_receive_frame(m_decoder.get(), m_frame.get()) < 0) return false;
    return m_frame->width == m_table.size.width && m_frame->height == m_table.size.height &&
           m_frame->decode_error_flags == 0 && (m_frame->flags & AV_FRAME_FLAG_CORRUPT) == 0;
}

} // namespace nomara
