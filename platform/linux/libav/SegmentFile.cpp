#include "platform/linux/libav/SegmentFile.h"

#include "platform/VideoCodec.h"

extern "C" {
#include <libavutil/dict.h>
}

namespace nomara::libav {

namespace {

constexpr int ticksPerSecond = 1000;

[[noreturn]] void fail(int code) {
    throw VideoError("The video file can't be written: " + errorText(code) + ".");
}

void check(int code) {
    if (code < 0) fail(code);
}

} // namespace

SegmentFile::SegmentFile(const std::filesystem::path& path, const AVCodecParameters& parameters)
    : m_file(path, MediaFile::Mode::replace) {
    // A fragment whenever it is asked for, so that each picture is one.
    m_muxer = beginTrack(m_file.io(), parameters, "frag_custom+empty_moov+default_base_moof");
    m_stream = m_muxer->streams[0];
    if (const int code = m_file.sync(); code < 0) {
        avformat_free_context(m_muxer);
        fail(code);
    }
    syncFolder(path.parent_path());
    m_stored = m_file.size();
}

SegmentFile::~SegmentFile() {
    avformat_free_context(m_muxer);
}

void SegmentFile::append(AVPacket& packet) {
    packet.stream_index = m_stream->index;
    stamp(packet, packet.pts);
    int code = av_write_frame(m_muxer, &packet);
    if (code >= 0) code = av_write_frame(m_muxer, nullptr);
    if (code >= 0) code = m_file.sync();
    if (code < 0) {
        m_file.truncate(m_stored);
        fail(code);
    }
    m_stored = m_file.size();
}

CodecParameters parametersOf(const AVCodecContext& encoder) {
    CodecParameters parameters(avcodec_parameters_alloc());
    if (!parameters) fail(AVERROR(ENOMEM));
    check(avcodec_parameters_from_context(parameters.get(), &encoder));
    return parameters;
}

AVFormatContext* beginTrack(AVIOContext* io, const AVCodecParameters& parameters, const char* flags) {
    AVFormatContext* muxer = nullptr;
    check(avformat_alloc_output_context2(&muxer, nullptr, "mp4", nullptr));
    muxer->pb = io;
    muxer->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_BITEXACT;
    AVStream* const stream = avformat_new_stream(muxer, nullptr);
    AVDictionary* options = nullptr;
    int code = stream ? avcodec_parameters_copy(stream->codecpar, &parameters) : AVERROR(ENOMEM);
    if (code >= 0) {
        stream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
        stream->time_base = {1, ticksPerSecond};
        stream->avg_frame_rate = {1, 1};
        if (*flags != 0) av_dict_set(&options, "movflags", flags, 0); // the library refuses none at all
        av_dict_set_int(&options, "video_track_timescale", ticksPerSecond, 0);
        code = avformat_write_header(muxer, &options);
    }
    av_dict_free(&options);
    if (code < 0) {
        avformat_free_context(muxer);
        fail(code);
    }
    return muxer;
}

void stamp(AVPacket& packet, std::int64_t index) {
    packet.pts = packet.dts = index * ticksPerSecond;
    packet.duration = ticksPerSecond;
}

} // namespace nomara::libav
