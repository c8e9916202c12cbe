// Pictures into segments and back, against JPEG, x265's own "medium", and FFmpeg's program on the same file; hashing
// and masking against copying. usage: SegmentBench [VIDEO]     or the video in QUILLSHADE_SCREENS; generated pages
// without

#include "Quillshade/segments/FrameImageLoader.h"
#include "bench/Measure.h"
#include "bench/ScreenFrames.h"
#include "core/base/Paths.h"
#include "core/imaging/FrameMasker.h"
#include "core/imaging/PerceptualHash.h"
#include "platform/linux/libav/LibavVideoCodec.h"
#include "platform/linux/libav/PictureScaler.h"
#include "tests/support/TemporaryData.h"

#include <QBuffer>
#include <QImage>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/opt.h>
}

using namespace nomara;

namespace {

constexpr double jpegBar = 1.0 / 7, mediumBar = 0.6, seekBar = 0.5, hashBar = 0.1, maskBar = 1.5;
constexpr std::size_t mostFrames = 120;
constexpr std::int64_t segmentFrames = 300;
constexpr int seeks = 21;

struct Coded {
    double bytes = 0; // for each picture
    double psnr = 0;  // of luma, in decibels, the mean of all pictures
};

bool bar(const char* what, double ratio, double limit, bool also = true) {
    const bool met = ratio <= limit && also;
    std::printf("  %-58s %6.3f  at most %.3f  %s\n", what, ratio, limit, met ? "met" : "NOT MET");
    return met;
}

/// Brightness as videos keep it.
class Luma {
public:
    explicit Luma(const Image& image) : m_frame(m_scaler.toVideo(*image, {image->width & ~1, image->height & ~1})) {}

    const AVFrame& frame() const { return *m_frame; }
    AVFrame& frame() { return *m_frame; }

private:
    libav::PictureScaler m_scaler;
    libav::Frame m_frame;
};

double psnr(const AVFrame& a, const AVFrame& b) {
    double sum = 0;
    for (int y = 0; y < a.height; ++y) {
        const std::uint8_t* const p = a.data[0] + static_cast<std::ptrdiff_t>(y) * a.linesize[0];
        const std::uint8_t* const q = b.data[0] + static_cast<std::ptrdiff_t>(y) * b.linesize[0];
        for (int x = 0; x < a.width; ++x)
            sum += (p[x] - q[x]) * (p[x] - q[x]);
    }
    const double mean = sum / (static_cast<double>(a.width) * a.height);
    return mean == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mean);
}

Coded ours(VideoCodec& codec, const std::vector<Image>& frames, const std::filesystem::path& file,
           std::vector<double>& times) {
    const PixelSize size{frames[0]->width & ~1, frames[0]->height & ~1};
    const auto output = codec.create({file, size, 0.5});
    for (const Image& frame : frames)
        times.push_back(bench::timed([&] {
            output->append(frame);
            output->waitUntilReady(600);
        }));
    output->finish();
    Coded coded{static_cast<double>(std::filesystem::file_size(file)) / static_cast<double>(frames.size()), 0};
    const auto input = codec.open(file);
    for (std::size_t i = 0; i < frames.size(); ++i)
        coded.psnr += psnr(Luma(frames[i]).frame(), Luma(input->frame(static_cast<std::int64_t>(i), 0)).frame());
    coded.psnr /= static_cast<double>(frames.size());
    return coded;
}

Coded jpeg(const std::vector<Image>& frames) {
    Coded coded;
    for (const Image& frame : frames) {
        const QImage image(frame->bytes.data(), frame->width, frame->height, static_cast<qsizetype>(frame->stride),
                           QImage::Format_RGB32);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        if (!image.save(&buffer, "JPG", 80)) {
            std::fprintf(stderr, "there is no JPEG here\n");
            std::exit(2);
        }
        const QImage read = QImage::fromData(bytes, "JPG").convertToFormat(QImage::Format_RGB32);
        auto decoded = std::make_shared<PixelBuffer>(frame->width, frame->height);
        for (int y = 0; y < frame->height; ++y)
            std::memcpy(decoded->row(y), read.constScanLine(y), decoded->stride);
        coded.bytes += static_cast<double>(bytes.size());
        coded.psnr += psnr(Luma(frame).frame(), Luma(decoded).frame());
    }
    coded.bytes /= static_cast<double>(frames.size());
    coded.psnr /= static_cast<double>(frames.size());
    return coded;
}

/// The preset as it comes, with groups as long as ours.
Coded medium(const std::vector<Image>& frames, int rateFactor) {
    const AVCodec* const encoder = avcodec_find_encoder_by_name("libx265");
    const libav::CodecContext in(avcodec_alloc_context3(encoder));
    in->width = frames[0]->width & ~1;
    in->height = frames[0]->height & ~1;
    in->pix_fmt = AV_PIX_FMT_YUV420P;
    in->time_base = {1, 1};
    in->framerate = {1, 1};
    in->gop_size = 30;
    av_opt_set(in->priv_data, "preset", "medium", 0);
    av_opt_set_double(in->priv_data, "crf", rateFactor, 0);
    av_opt_set(in->priv_data, "x265-params", "log-level=none:info=0", 0);
    const AVCodec* const decoder = avcodec_find_decoder(AV_CODEC_ID_HEVC);
    const libav::CodecContext out(avcodec_alloc_context3(decoder));
    if (avcodec_open2(in.get(), encoder, nullptr) < 0 || avcodec_open2(out.get(), decoder, nullptr) < 0) std::exit(2);

    Coded coded;
    std::size_t read = 0;
    const libav::Packet packet(av_packet_alloc());
    const libav::Frame frame(av_frame_alloc());
    const auto receive = [&] {
        while (avcodec_receive_frame(out.get(), frame.get()) >= 0)
            coded.psnr += psnr(Luma(frames[read++]).frame(), *frame);
    };
    const auto drain = [&] {
        while (avcodec_receive_packet(in.get(), packet.get()) >= 0) {
            coded.bytes += packet->size;
            avcodec_send_packet(out.get(), packet.get());
            receive();
        }
    };
    for (std::size_t i = 0; i < frames.size(); ++i) {
        Luma luma(frames[i]);
        luma.frame().pts = static_cast<std::int64_t>(i);
        avcodec_send_frame(in.get(), &luma.frame());
        drain();
    }
    avcodec_send_frame(in.get(), nullptr);
    drain();
    avcodec_send_packet(out.get(), nullptr);
    receive();
    coded.bytes /= static_cast<double>(frames.size());
    coded.psnr /= static_cast<double>(read);
    return coded;
}

/// What "medium" would need for that likeness: between the two rate factors beside it bytes grow evenly by the decibel.
double mediumBytesAt(const std::vector<Image>& frames, double wanted) {
    int rateFactor = 34; // near what ours comes to
    Coded here = medium(frames, rateFactor);
    const int step = here.psnr > wanted ? 2 : -2;
    for (;;) {
        std::printf("  x265 medium, rate factor %d: %.0f bytes, %.2f dB\n", rateFactor, here.bytes, here.psnr);
        const Coded next = medium(frames, rateFactor += step);
        if ((next.psnr - wanted) * step <= 0) {
            std::printf("  x265 medium, rate factor %d: %.0f bytes, %.2f dB\n", rateFactor, next.bytes, next.psnr);
            const double share = (wanted - here.psnr) / (next.psnr - here.psnr);
            return std::exp(std::log(here.bytes) + share * (std::log(next.bytes) - std::log(here.bytes)));
        }
        here = next;
    }
}

bool compression(VideoCodec& codec, const std::vector<Image>& frames, const std::filesystem::path& file) {
    std::vector<double> times;
    const Coded segment = ours(codec, frames, file, times);
    const Coded rival = jpeg(frames);
    std::printf("%zu pictures of %d by %d, bytes for each and luma\n", frames.size(), frames[0]->width,
                frames[0]->height);
    std::printf("  segment: %.0f bytes, %.2f dB; a picture takes %.0f ms at the median, %.0f at the 95th percentile\n",
                segment.bytes, segment.psnr, 1e3 * bench::percentile(times, 0.5), 1e3 * bench::percentile(times, 0.95));
    std::printf("  JPEG, quality 80: %.0f bytes, %.2f dB\n", rival.bytes, rival.psnr);
    const double equal = mediumBytesAt(frames, segment.psnr);
    bool met = bar("bytes of a segment to those of JPEG, at no lower luma", segment.bytes / rival.bytes, jpegBar,
                   segment.psnr >= rival.psnr);
    met &= bar("bytes of a segment to those of x265 medium at equal luma", segment.bytes / equal, mediumBar);
    return met;
}

bool reading(VideoCodec& codec, const std::vector<Image>& frames) {
    const std::string path = "segments/bench.mp4";
    const std::filesystem::path file = NomaraPaths::framesFile(path);
    const PixelSize size{frames[0]->width & ~1, frames[0]->height & ~1};
    const auto output = codec.create({file, size, 0.5});
    for (std::int64_t i = 0; i < segmentFrames; ++i) {
        output->append(frames[static_cast<std::size_t>(i) % frames.size()]);
        output->waitUntilReady(600);
    }
    output->finish();

    const auto input = codec.open(file);
    std::mt19937 random(17);
    std::vector<double> full, next, colours, smaller, program, opening, cached;
    FrameImageLoader loader(codec);
    for (int i = 0; i < seeks; ++i) {
        const auto index = static_cast<std::int64_t>(random() % (segmentFrames - 1));
        full.push_back(bench::timed([&] { bench::keep(input->frame(index, 0)); }));
        next.push_back(bench::timed([&] { bench::keep(input->frame(index + 1, 0)); }, bench::cpuSeconds));
        // It is decoded now, so the rest is its way to the screen's colours, and smaller.
        colours.push_back(bench::timed([&] { bench::keep(input->frame(index + 1, 0)); }, bench::cpuSeconds));
        smaller.push_back(bench::timed([&] { bench::keep(input->frame(index + 1, 520)); }, bench::cpuSeconds));
        opening.push_back(bench::timed([&] { bench::keep(codec.open(file)); }));
        const std::string command = "ffmpeg -v error -ss " + std::to_string(index) + " -i " + bench::quoted(file) +
                                    " -frames:v 1 -pix_fmt bgra -f rawvideo -y /dev/null";
        program.push_back(bench::timed([&] {
            if (std::system(command.c_str()) != 0) std::exit(2);
        }));
        const FrameSummary frame{.id = i, .segmentPath = path, .segmentIndex = index};
        loader.image(frame, FrameImageLoader::Size::thumbnail).waitForFinished();
        cached.push_back(
            bench::timed([&] { loader.image(frame, FrameImageLoader::Size::thumbnail).waitForFinished(); }));
    }
    const auto milliseconds = [](const std::vector<double>& times) { return 1e3 * bench::percentile(times, 0.5); };
    std::printf("A segment of %d pictures, medians in milliseconds\n", static_cast<int>(segmentFrames));
    std::printf("  any picture %.1f (95th percentile %.1f), the next one %.1f of CPU time (of which colours %.1f; a "
                "thumbnail's %.1f),\n"
                "  a thumbnail in memory %.4f, opening %.2f; ffmpeg -ss %.1f\n",
                milliseconds(full), 1e3 * bench::percentile(full, 0.95), milliseconds(next), milliseconds(colours),
                milliseconds(smaller), milliseconds(cached), milliseconds(opening), milliseconds(program));
    return bar("any picture to ffmpeg -ss", milliseconds(full) / milliseconds(program), seekBar);
}

bool imaging() {
    PixelBuffer image(3840, 2160);
    std::mt19937 random(3);
    for (std::uint8_t& byte : image.bytes)
        byte = static_cast<std::uint8_t>(random());
    const std::vector<Rect> masks = {{0.1, 0.1, 0.3, 0.4}, {0.5, 0.2, 0.4, 0.3}};
    std::vector<std::uint8_t> copy(image.bytes.size());
    std::vector<double> hash, mask, copying;
    for (int i = 0; i < 40; ++i) {
        copying.push_back(bench::timed([&] {
            std::memcpy(copy.data(), image.bytes.data(), copy.size());
            bench::keep(copy);
        }));
        hash.push_back(bench::timed([&] { bench::keep(PerceptualHash::hash(image)); }));
        mask.push_back(bench::timed([&] { bench::keep(FrameMasker::mask(image, masks)); }));
    }
    const double memcpyTime = bench::percentile(copying, 0.5);
    std::printf("A picture of 3840 by 2160, medians: memcpy %.2f ms, hash %.3f ms, mask %.2f ms\n", 1e3 * memcpyTime,
                1e3 * bench::percentile(hash, 0.5), 1e3 * bench::percentile(mask, 0.5));
    bool met = bar("hash to memcpy", bench::percentile(hash, 0.5) / memcpyTime, hashBar);
    met &= bar("mask to memcpy", bench::percentile(mask, 0.5) / memcpyTime, maskBar);
    return met;
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // what takes minutes is worth following
    const char* const given = argc > 1 ? argv[1] : std::getenv("QUILLSHADE_SCREENS");
    const testing::TemporaryData data;
    LibavVideoCodec codec;
    bool met = imaging();
    const std::vector<Image> frames = bench::screenFrames(given ? given : "", mostFrames);
    met &= reading(codec, frames);
    met &= compression(codec, frames, data.root() / "bench.mp4");
    return met ? 0 : 1;
}
