// What following a screen costs: our stream with the list of browser windows at each image, against FFmpeg taking an
// image each second and throwing it away, in turns on the same screen. Then, with a compositor, images put together
// from windows' own pixels against images of the screen. Needs a virtual desktop. usage: StreamBench [SECONDS]

#include "Quillshade/capture/DisplayCapturer.h"
#include "Quillshade/windows/BrowserPrivacy.h"
#include "bench/ServerClock.h"
#include "core/applications/AppCatalog.h"
#include "platform/fake/FakeAccessibility.h"
#include "platform/linux/desktop/ApplicationIdentifier.h"
#include "platform/linux/x11/X11DisplayStream.h"
#include "platform/linux/x11/X11WindowServer.h"
#include "tests/desktop/backends/DesktopProgram.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace nomara;

namespace {

constexpr double bar = 0.2;
constexpr double composedBar = 1.3;
constexpr int usualSeconds = 60;
constexpr const char* streamArgument = "--stream";
constexpr const char* screenArgument = "--screen"; // the same, of the screen though there is a compositor

/// The program's part that follows a display, as it is joined for recording.
class Follower {
public:
    explicit Follower(X11ImageSource source)
        : m_capturer(
              m_server.displays().front().id,
              X11DisplayStreams([this](const WindowOwner& owner) { return m_identifier.identify(owner); }, {}, source)
                  .make(),
              m_clock, [this] { return m_privacy.visibleWindows(); }) {
        m_capturer.start({AppCatalog::defaultExcludedApps(), {}}, 1, "", [](const auto& error) {
            if (error) std::fprintf(stderr, "%s\n", error->message.c_str());
        });
    }

    /// How many images it takes in this time.
    int follow(int seconds) {
        int images = 0;
        for (int i = 0; i < seconds; ++i) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            if (m_capturer.marks().changed && m_capturer.takeLatest().image) ++images;
        }
        return images;
    }

private:
    const SystemClock m_clock;
    FakeAccessibility m_accessibility; // listing windows asks it nothing
    X11WindowServer m_server;
    ApplicationIdentifier m_identifier;
    WindowInspector m_inspector{m_accessibility, m_server};
    BrowserPrivacy m_privacy{m_inspector, m_server,
                             [this](const WindowOwner& owner) { return m_identifier.identify(owner); }, m_clock};
    DisplayCapturer m_capturer;
};

struct Cost {
    double own = 0, server = 0; ///< seconds of CPU time
    int images = 0;             ///< ours tells by its exit code
};

Cost run(const bench::ServerClock& server, const std::vector<std::string>& command) {
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    const double before = server.cpuSeconds();
    const pid_t child = fork();
    if (child == 0) {
        execvp(words[0], words.data());
        _exit(127);
    }
    rusage usage{};
    int status = 0;
    if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status)) return {};
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return {seconds(usage.ru_utime) + seconds(usage.ru_stime), server.cpuSeconds() - before, WEXITSTATUS(status)};
}

// Taken into shared memory and handed on as it is: neither pointer, decoder, conversion nor encoder, and no statistics.
std::vector<std::string> rival(int seconds) {
    const char* const display = std::getenv("DISPLAY");
    if (!display) std::exit(1);
    return {"ffmpeg",
            "-nostdin",
            "-hide_banner",
            "-loglevel",
            "error",
            "-nostats",
            "-f",
            "x11grab",
            "-framerate",
            "1",
            "-draw_mouse",
            "0",
            "-analyzeduration",
            "0",
            "-probesize",
            "32",
            "-i",
            display,
            "-t",
            std::to_string(seconds),
            "-c:v",
            "copy",
            "-f",
            "null",
            "-"};
}

struct Result {
    Cost ours, theirs;
};

// One after the other, so that what the server does can be told apart; what it does without either is taken off.
Result compare(const bench::ServerClock& server, const std::string& self, int seconds,
               const std::vector<std::string>& other) {
    const Cost idle = run(server, {"sleep", std::to_string(seconds)});
    Result result{run(server, {self, streamArgument, std::to_string(seconds)}), run(server, other)};
    for (Cost* const cost : {&result.ours, &result.theirs})
        cost->server = std::max(cost->server - idle.server, 0.0);
    return result;
}

struct Shares {
    double own = 0, both = 0;
};

Shares print(const char* what, const Result& result) {
    const auto& [ours, theirs] = result;
    const Shares shares{ours.own / theirs.own, (ours.own + ours.server) / (theirs.own + theirs.server)};
    std::printf("%-30s %7.3f + %5.3f s %7.3f + %5.3f s %8.3f %12.3f %7d\n", what, ours.own, ours.server, theirs.own,
                theirs.server, shares.own, shares.both, ours.images);
    return shares;
}

void printHead(const char* ours, const char* theirs) {
    std::printf("%-30s %17s %17s %8s %12s %7s\n", "on the screen", ours, theirs, "share", "with server", "images");
}

// The same screen with a compositor. Whether the bar is met.
bool compose(const bench::ServerClock& clock, const std::string& self, int seconds) {
    const DesktopProgram compositor({"picom", "--config", "/dev/null", "--backend", "xrender"});
    std::this_thread::sleep_for(std::chrono::seconds(3));
    const std::vector<std::string> screen{self, screenArgument, std::to_string(seconds)};
    const Result still = compare(clock, self, seconds, screen);
    const DesktopProgram typist({"xterm", "-T", "A typist", "-geometry", "60x10+600+650", "-e", "sh", "-c",
                                 "while :; do printf 'words '; sleep 0.1; done"});
    std::this_thread::sleep_for(std::chrono::seconds(3));
    const Result typing = compare(clock, self, seconds, screen);
    std::printf("\nWith a compositor: put together from windows' own pixels, and taken off the screen.\n\n");
    printHead("windows", "screen");
    const Shares shares[] = {print("three programs, nothing moves", still), print("and words being typed", typing)};
    bool isMet = true;
    for (const Shares& share : shares)
        isMet = isMet && share.both <= composedBar;
    std::printf("\nshare with a compositor   at most %.3f   %s\n", composedBar, isMet ? "met" : "NOT MET");
    return isMet;
}

bool isOpen(X11WindowServer& server, const std::string& title) {
    return std::ranges::any_of(server.onScreenWindows(), [&](const WindowInfo& window) {
        return window.title && window.title->find(title) != std::string::npos;
    });
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && (argv[1] == std::string(streamArgument) || argv[1] == std::string(screenArgument)))
        return std::min(
            Follower(argv[1] == std::string(screenArgument) ? X11ImageSource::screen : X11ImageSource::windows)
                .follow(std::atoi(argv[2])),
            120);
    const int seconds = argc == 2 ? std::max(std::atoi(argv[1]), 10) : usualSeconds;
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    X11WindowServer server;
    const std::string folder = newFolder();
    writeFile(folder + "/page.html", "<!doctype html><title>A still page</title><p>Nothing moves here.");
    writeFile(folder + "/notes.txt", "Words that stay as they are.\n");
    const DesktopProgram terminal({"xterm", "-T", "A shell", "-geometry", "80x24+50+600", "-e", "sleep", "100000"});
    const DesktopProgram editor({"mousepad", folder + "/notes.txt"});
    const DesktopProgram browser({"chromium", "--no-sandbox", "--disable-gpu", "--no-first-run",
                                  "--disable-background-networking", "--disable-sync", "--password-store=basic",
                                  "--user-data-dir=" + folder + "/profile", "file://" + folder + "/page.html"});
    for (const char* const title : {"A shell", "notes.txt", "A still page"}) {
        if (waitUntil([&] { return isOpen(server, title); }, std::chrono::seconds(60))) continue;
        std::printf("\"%s\" never came up.\n", title);
        return 1;
    }
    // Carets stop blinking after a while, and programs have settled by then.
    std::this_thread::sleep_for(std::chrono::seconds(15));

    const bench::ServerClock clock;
    const Result still = compare(clock, self, seconds, rival(seconds));
    std::optional<DesktopProgram> ticker(
        std::in_place, std::vector<std::string>{"xterm", "-T", "A clock", "-geometry", "20x2+50+450", "-e", "sh", "-c",
                                                "while :; do printf '\\r%s' \"$(date +%T)\"; sleep 1; done"});
    waitUntil([&] { return isOpen(server, "A clock"); });
    std::this_thread::sleep_for(std::chrono::seconds(3));
    const Result ticking = compare(clock, self, seconds, rival(seconds));

    std::printf(
        "CPU time of %d seconds of a display, an image a second at most: the program's + the X server's for it.\n\n",
        seconds);
    printHead("ours", "x11grab");
    const Shares shares = print("three programs, nothing moves", still);
    print("and a clock that ticks", ticking);
    const bool isMet =
        still.ours.images > 0 && ticking.ours.images > seconds / 2 && shares.own <= bar && shares.both <= bar;
    std::printf("\nshare on a still screen          %.3f, %.3f   at most %.3f   %s\n", shares.own, shares.both, bar,
                isMet ? "met" : "NOT MET");
    ticker.reset();
    return compose(clock, self, seconds) && isMet ? 0 : 1;
}
