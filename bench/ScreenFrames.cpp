#include "bench/ScreenFrames.h"

#include "tests/support/ScreenPictures.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace nomara::bench {

namespace {

struct ClosePipe {
    void operator()(FILE* pipe) const { pclose(pipe); }
};
using Pipe = std::unique_ptr<FILE, ClosePipe>;

[[noreturn]] void fail(const std::string& path) {
    std::fprintf(stderr, "%s can't be read as a video\n", path.c_str());
    std::exit(2);
}

} // namespace

std::string quoted(const std::string& text) {
    std::string word = "'";
    for (const char c : text)
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + "'";
}

std::vector<Image> screenFrames(const std::string& path, std::size_t most) {
    std::vector<Image> frames;
    if (path.empty()) {
        for (std::size_t i = 0; i < most; ++i)
            frames.push_back(testing::screenPicture(static_cast<int>(i), 1920, 1080));
        return frames;
    }
    int width = 0, height = 0;
    const Pipe probe(popen(
        ("ffprobe -v error -select_streams v:0 -show_entries stream=width,height -of csv=p=0 " + quoted(path)).c_str(),
        "r"));
    if (!probe || std::fscanf(probe.get(), "%d,%d", &width, &height) != 2 || width <= 0 || height <= 0) fail(path);
    const Pipe video(popen(("ffmpeg -v error -i " + quoted(path) + " -f rawvideo -pix_fmt bgra -").c_str(), "r"));
    while (video && frames.size() < most) {
        auto frame = std::make_shared<PixelBuffer>(width, height);
        if (std::fread(frame->bytes.data(), 1, frame->bytes.size(), video.get()) != frame->bytes.size()) break;
        frames.push_back(frame);
    }
    if (frames.empty()) fail(path);
    return frames;
}

} // namespace nomara::bench
