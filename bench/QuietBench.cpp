// What Quillshade itself holds and uses while nothing happens: the whole program with two displays recorded and then
// left alone, against one open encoder of that size for the memory, and FFmpeg taking an image of each second and
// throwing it away for the CPU time. Needs a virtual desktop. usage: QuietBench [SECONDS]

#include "bench/ServerClock.h"
#include "platform/linux/libav/LibavVideoCodec.h"
#include "tests/desktop/backends/DesktopProgram.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

using namespace nomara;

namespace {

constexpr int usualSeconds = 120;
constexpr const char* encoderArgument = "--encoder";
constexpr int width = 1920, height = 1080;

/// Of a process, the threads that have ended included.
double cpuSeconds(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text(std::istreambuf_iterator<char>(file), {});
    std::istringstream fields(text.substr(std::min(text.size(), text.rfind(')') + 1)));
    std::string skipped;
    for (int i = 0; i < 11; ++i)
        fields >> skipped;
    double user = 0, system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

struct Cost {
    double own = 0, server = 0; ///< seconds of CPU time
};

Cost costOf(pid_t process, int seconds) {
    const bench::ServerClock server;
    const Cost before{cpuSeconds(process), server.cpuSeconds()};
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    return {cpuSeconds(process) - before.own, server.cpuSeconds() - before.server};
}

/// A line of /proc/…/status or smaps_rollup in megabytes.
double megabytes(pid_t process, const char* file, const std::string& name) {
    std::ifstream lines("/proc/" + std::to_string(process) + "/" + file);
    std::string word;
    while (lines >> word)
        if (double kilobytes = 0; word == name + ":" && lines >> kilobytes) return kilobytes / 1'000;
    return 0;
}

void report(const char* what, pid_t process) {
    std::printf("%-44s %8.1f MB %8.1f MB %8.1f MB\n", what, megabytes(process, "status", "VmRSS"),
                megabytes(process, "smaps_rollup", "Pss"), megabytes(process, "status", "VmHWM"));
}

/// One encoder that has taken two pictures, and waits.
int holdEncoder(const std::string& folder) {
    LibavVideoCodec codec(1e9);
    const auto output = codec.create({folder + "/rival.mp4", {width, height}, 0.5});
    for (int i = 0; i < 2; ++i) {
        auto image = std::make_shared<PixelBuffer>(width, height);
        std::ranges::fill(image->bytes, static_cast<std::uint8_t>(50 + 100 * i));
        if (!output->waitUntilReady(60) || !output->append(image)) return 1;
    }
    if (!output->waitUntilReady(60)) return 1;
    std::puts("ready");
    std::fflush(stdout);
    pause();
    return 0;
}

bool hasPictures(const std::string& ctl, int wanted) {
    const std::string status = outputOf({ctl, "status", "--json"});
    int segments = 0;
    for (std::size_t at = 0; (at = status.find(".mp4", at)) != std::string::npos; ++at)
        ++segments;
    return segments >= wanted;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == encoderArgument) return holdEncoder(argv[2]);
    const int seconds = argc == 2 ? std::max(std::atoi(argv[1]), 10) : usualSeconds;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
    const std::string ctl = self.parent_path() / "quillshadectl", folder = newFolder();

    // The screen, 3840 pixels wide, becomes two displays beside each other.
    const std::string size = std::to_string(width) + "/500x" + std::to_string(height) + "/300+";
    runCommand({"xrandr", "--setmonitor", "LEFT", size + "0+0", "screen"});
    runCommand({"xrandr", "--setmonitor", "RIGHT", size + std::to_string(width) + "+0", "none"});
    const DesktopProgram left({"xterm", "-T", "Left", "-geometry", "80x24+50+50", "-e", "sleep", "100000"});
    const DesktopProgram right({"xterm", "-T", "Right", "-geometry", "80x24+2000+50", "-e", "sleep", "100000"});
    DesktopProgram quillshade(
        {self.parent_path() / "quillshade", "--set", "onboardingCompleted=true", "--set", "captureAllDisplays=true"});
    if (!waitUntil([&] { return hasPictures(ctl, 2); }, std::chrono::seconds(60))) {
        std::puts("Two displays were never recorded.");
        return 1;
    }
    std::printf("%-44s %11s %11s %11s\n", "memory", "resident", "share", "at most");
    report("Quillshade, two encoders at work", quillshade.pid());
    std::this_thread::sleep_for(std::chrono::seconds(10)); // carets and programs come to rest
    const Cost used = costOf(quillshade.pid(), seconds);
    report(("Quillshade after " + std::to_string(seconds) + " quiet seconds").c_str(), quillshade.pid());
    const double ours = megabytes(quillshade.pid(), "status", "VmRSS");
    quillshade.end();

    const DesktopProgram encoder({self, encoderArgument, folder}, {}, DesktopProgram::Streams::piped);
    if (encoder.readLine() != "ready") return 1;
    report("one open x265 encoder of 1920x1080", encoder.pid());
    const double theirs = megabytes(encoder.pid(), "status", "VmRSS");

    const DesktopProgram grab({"ffmpeg", "-nostdin", "-loglevel", "error", "-f", "x11grab", "-framerate", "1",
                               "-draw_mouse", "0", "-video_size", "1920x1080", "-i", std::getenv("DISPLAY"), "-c:v",
                               "copy", "-f", "null", "-"});
    std::this_thread::sleep_for(std::chrono::seconds(5));
    // One of the two displays, so that its cost counts twice.
    Cost grabbed = costOf(grab.pid(), seconds);
    grabbed.own *= 2;
    grabbed.server *= 2;

    const double memoryRatio = ours / theirs, minute = 60.0 / seconds;
    const double share = (used.own + used.server) / (grabbed.own + grabbed.server);
    std::printf("\nCPU time a minute, the program's and the X server's for it\n");
    std::printf("Quillshade with two displays   %.3f + %.3f s\n", used.own * minute, used.server * minute);
    std::printf("x11grab of two displays        %.3f + %.3f s\n", grabbed.own * minute, grabbed.server * minute);
    std::printf("share                          %.2f\n", share);
    std::printf("memory to one encoder          %.2f   less than 1 wanted   %s\n", memoryRatio,
                memoryRatio < 1 ? "met" : "NOT MET");
    return memoryRatio < 1 ? 0 : 1;
}
