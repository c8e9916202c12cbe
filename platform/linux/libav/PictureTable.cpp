#include "platform/linux/libav/PictureTable.h"

#include <array>
#include <cstring>

namespace nomara::libav {

namespace {

constexpr int widest = 16'384; // pixels; a file that says more is no segment

std::uint64_t bigEndian(const std::uint8_t* bytes, int count) {
    std::uint64_t value = 0;
    for (int i = 0; i < count; ++i)
        value = value << 8 | bytes[i];
    return value;
}

// Where the last box ends that is there in full. A fragment's head without its pictures doesn't count; the library
// would take a head that is cut short for damage of the whole file.
std::int64_t wholeBytes(const MediaFile& file) {
    const std::int64_t size = file.size();
    std::int64_t whole = 0;
    for (std::int64_t offset = 0; size - offset >= 8;) {
        std::array<std::uint8_t, 16> head{};
        if (!file.read(offset, head.data(), 8)) break;
        std::uint64_t length = bigEndian(head.data(), 4);
        if (length == 1) { // a large box tells its length behind its type
            if (!file.read(offset, head.data(), 16)) break;
            length = bigEndian(head.data() + 8, 8);
        }
        if (length < 8 || length > static_cast<std::uint64_t>(size - offset)) break;
        offset += static_cast<std::int64_t>(length);
        if (std::memcmp(head.data() + 4, "moof", 4) != 0) whole = offset;
    }
    return whole;
}

struct CloseInput {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
using Input = std::unique_ptr<AVFormatContext, CloseInput>;

Input openInput(MediaFile& file) {
    AVFormatContext* input = avformat_alloc_context();
    if (!input) throw VideoError("There is too little memory to open a video.");
    input->pb = file.io();
    input->flags |= AVFMT_FLAG_CUSTOM_IO;
    // Frees the context where it fails.
    const int code = avformat_open_input(&input, "", av_find_input_format("mp4"), nullptr);
    if (code == AVERROR(ENOMEM)) throw VideoError("There is too little memory to open a video.");
    if (code < 0) throw DamagedVideo("The video can't be opened: " + errorText(code) + ".");
    return Input(input);
}

} // namespace

PictureTable::PictureTable(MediaFile& file) : parameters(avcodec_parameters_alloc()) {
    const std::int64_t whole = wholeBytes(file);
    file.endAt(whole);
    const Input input = openInput(file);
    const auto tracks = input->nb_streams;
    if (tracks != 1 || input->streams[0]->codecpar->codec_id != AV_CODEC_ID_HEVC)
        throw DamagedVideo("The file isn't a video of the screen.");
    AVStream* const stream = input->streams[0];
    if (!parameters || avcodec_parameters_copy(parameters.get(), stream->codecpar) < 0)
        throw VideoError("There is too little memory to open a video.");
    size = {parameters->width, parameters->height};
    if (size.width <= 0 || size.height <= 0 || size.width > widest || size.height > widest)
        throw DamagedVideo("The video has no size.");

    const int count = avformat_index_get_entries_count(stream);
    samples.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const AVIndexEntry* const entry = avformat_index_get_entry(stream, i);
        const std::int64_t second = av_rescale_q(entry->timestamp, stream->time_base, {1, 1});
        if (second != i || entry->size <= 0 || entry->pos < 0 || entry->pos > whole - entry->size) {
            breaksOff = true;
            break;
        }
        samples.push_back({entry->pos, entry->size, (entry->flags & AVINDEX_KEYFRAME) != 0});
    }
}

Packet PictureTable::read(const MediaFile& file, std::size_t index) const {
    const Sample& sample = samples[index];
    Packet packet(av_packet_alloc());
    if (!packet || av_new_packet(packet.get(), sample.size) < 0) return nullptr;
    if (!file.read(sample.offset, packet->data, static_cast<std::size_t>(sample.size))) return nullptr;
    if (sample.isKey) packet->flags |= AV_PKT_FLAG_KEY;
    return packet;
}

ChecksumReader PictureTable::checksums(const MediaFile& file) const {
    const Packet first = samples.empty() ? nullptr : read(file, 0);
    const auto description =
        std::span<const std::uint8_t>(parameters->extradata, static_cast<std::size_t>(parameters->extradata_size));
    return {description, first ? bytesOf(*first) : std::span<const std::uint8_t>()};
}

} // namespace nomara::libav
