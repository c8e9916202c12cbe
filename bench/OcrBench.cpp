// Reading text in images, against Tesseract handed the whole image (psm 3) with the same language data: words found and
// CPU time on pages with known text, time a picture on a recording of a screen, and memory.
// usage: OcrBench [PAGES [VIDEO]]     or in QUILLSHADE_PAGES and QUILLSHADE_SCREENS; generated pages without. PAGES is
// a folder of page.png with page.txt beside each.

#include "bench/Measure.h"
#include "bench/ScreenFrames.h"
#include "bench/TextPages.h"
#include "core/reading/GrayImage.h"
#include "core/reading/ReadingOrder.h"
#include "platform/linux/tesseract/LanguageData.h"
#include "platform/linux/tesseract/TesseractRecognizer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include <malloc.h>
#include <sys/wait.h>
#include <tesseract/baseapi.h>
#include <unistd.h>

using namespace nomara;

namespace {

constexpr double recallBar = 0.97, timeBar = 0.8, replayBar = 0.1, keptBar = 0.995;
constexpr double tickSeconds = 0.4; // the recorder's own limit
constexpr std::size_t mostFrames = 120, rivalEvery = 10;

double processSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

bool verdict(const char* what, double value, double limit, bool atLeast) {
    const bool met = atLeast ? value >= limit : value <= limit;
    std::printf("  %-66s %7.4f  at %s %.3f  %s\n", what, value, atLeast ? "least" : "most", limit,
                met ? "met" : "NOT MET");
    return met;
}

std::string joined(const TextResult& result) {
    std::string text;
    for (const std::string& line : ReadingOrder::lines(result.observations))
        text += line + "\n";
    return text;
}

/// Tesseract as it comes, its dictionary among it.
class Rival {
public:
    explicit Rival(const std::string& languages) {
        const std::filesystem::path folder = nomara::tesseract::LanguageData::findFolder();
        if (m_api.Init(folder.c_str(), languages.c_str(), ::tesseract::OEM_LSTM_ONLY) != 0) {
            std::fprintf(stderr, "Tesseract has no language here\n");
            std::exit(2);
        }
        m_api.SetVariable("debug_file", "/dev/null");
        m_api.SetPageSegMode(::tesseract::PSM_AUTO);
    }
    std::string read(const Image& image) {
        const GrayImage gray = grayImage(*image, {0, 0, image->width, image->height});
        m_api.SetImage(gray.bytes.data(), gray.width, gray.height, 1, gray.width);
        m_api.SetSourceResolution(96);
        const std::unique_ptr<const char[]> text(m_api.GetUTF8Text());
        return text ? text.get() : "";
    }

private:
    ::tesseract::TessBaseAPI m_api;
};

/// Some lines of a page, turned by half a circle.
Image upsideDown(const Image& page) {
    auto part = std::make_shared<PixelBuffer>(page->width / 2, page->height / 8);
    for (int y = 0; y < part->height; ++y)
        for (int x = 0; x < part->width; ++x)
            std::memcpy(part->row(y) + static_cast<std::size_t>(x) * 4,
                        page->row(part->height - 1 - y) + static_cast<std::size_t>(part->width - 1 - x) * 4, 4);
    return part;
}

bool pagesOf(const std::filesystem::path& folder) {
    std::printf("%-24s %22s %22s %22s\n", "page", "recall: ours, rival", "precision", "seconds");
    bench::Agreement allOurs, allRival;
    double allTime = 0, allRivalTime = 0;
    bool met = true;
    for (const bench::TextPage& page : bench::textPages(folder)) {
        TesseractRecognizer recognizer;
        Rival rival(page.data);
        // Opens the engine, as the rival's is: a program that stays does it once. Nothing of it stands on the page.
        recognizer.recognize({.image = upsideDown(page.image), .languages = page.languages});
        std::string ours, theirs;
        const double time = bench::timed(
            [&] { ours = joined(recognizer.recognize({.image = page.image, .languages = page.languages})); },
            processSeconds);
        const double rivalTime = bench::timed([&] { theirs = rival.read(page.image); }, processSeconds);
        bench::Agreement oursHere, rivalHere;
        const bench::Words wanted = bench::words(page.text);
        for (bench::Agreement* const sum : {&oursHere, &allOurs})
            sum->add(wanted, bench::words(ours));
        for (bench::Agreement* const sum : {&rivalHere, &allRival})
            sum->add(wanted, bench::words(theirs));
        allTime += time;
        allRivalTime += rivalTime;
        const bool better = oursHere.recall() >= rivalHere.recall() && oursHere.precision() >= rivalHere.precision();
        std::printf("%-24s %14.2f %7.2f %14.2f %7.2f %14.2f %7.2f%s\n", page.name.c_str(), 100 * oursHere.recall(),
                    100 * rivalHere.recall(), 100 * oursHere.precision(), 100 * rivalHere.precision(), time, rivalTime,
                    better ? "" : "  below the rival");
        met &= better;
    }
    std::printf("%-24s %14.2f %7.2f %14.2f %7.2f %14.2f %7.2f\n", "all", 100 * allOurs.recall(),
                100 * allRival.recall(), 100 * allOurs.precision(), 100 * allRival.precision(), allTime, allRivalTime);
    met &= verdict("recall over all pages", allOurs.recall(), recallBar, true);
    met &= verdict("CPU time to that of the rival", allTime / allRivalTime, timeBar, false);
    return met;
}

bool replay(const std::string& video) {
    const std::vector<Image> frames = bench::screenFrames(video, mostFrames);
    const std::vector<std::string> languages = {"en-US"};
    TesseractRecognizer recognizer;
    Rival rival("eng");
    std::vector<double> times, rivalTimes;
    bench::Agreement kept;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        TextResult result;
        times.push_back(bench::timed(
            [&] { result = recognizer.recognize({.image = frames[i], .languages = languages}); }, processSeconds));
        if (i % rivalEvery != 0) continue;
        rivalTimes.push_back(bench::timed([&] { bench::keep(rival.read(frames[i])); }, processSeconds));
        TesseractRecognizer fresh;
        kept.add(bench::words(joined(fresh.recognize({.image = frames[i], .languages = languages}))),
                 bench::words(joined(result)));
    }
    const auto [read, known] = recognizer.statistics();
    std::printf("%zu consecutive pictures; the rival read every %zuth\n", frames.size(), rivalEvery);
    std::printf(
        "  milliseconds of CPU time, median, 75th and 95th percentile: %.0f, %.0f, %.0f; rival %.0f, %.0f, %.0f\n",
        1e3 * bench::percentile(times, 0.5), 1e3 * bench::percentile(times, 0.75), 1e3 * bench::percentile(times, 0.95),
        1e3 * bench::percentile(rivalTimes, 0.5), 1e3 * bench::percentile(rivalTimes, 0.75),
        1e3 * bench::percentile(rivalTimes, 0.95));
    std::printf("  lines read %llu, known before %llu\n", static_cast<unsigned long long>(read),
                static_cast<unsigned long long>(known));
    bool met = verdict("median time to that of the rival",
                       bench::percentile(times, 0.5) / bench::percentile(rivalTimes, 0.5), replayBar, false);
    met &= verdict("words of a picture read for the first time that are kept", kept.recall(), keptBar, true);
    return met;
}

/// A reader with a time limit, as the recorder's tick has one: how long it is held at worst, with nothing known before
/// and the engines still closed.
void limits(const std::filesystem::path& folder) {
    std::printf("Stopped after %.1f s, each page for the first time: seconds until it answered, share of its lines\n",
                tickSeconds);
    double longest = 0;
    for (const bench::TextPage& page : bench::textPages(folder)) {
        TesseractRecognizer whole, recognizer;
        recognizer.setWorkers(2);
        const double all = static_cast<double>(
            whole.recognize({.image = page.image, .languages = page.languages}).observations.size());
        std::size_t count = 0;
        const double end = bench::seconds() + tickSeconds;
        const double time = bench::timed([&] {
            count = recognizer
                        .recognize({.image = page.image,
                                    .languages = page.languages,
                                    .regionOfInterest = std::nullopt,
                                    .shouldStop = [end] { return bench::seconds() >= end; }})
                        .observations.size();
        });
        std::printf("  %-24s %6.2f %6.2f\n", page.name.c_str(), time, static_cast<double>(count) / all);
        longest = std::max(longest, time);
    }
    std::printf("  longest %.2f s\n", longest);
}

double residentMegabytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:")) return std::strtod(line.c_str() + 6, nullptr) / 1'024;
    return 0;
}

/// In a process of its own: before anything, with engines open, and after they have closed.
void memory(const char* what, const bench::TextPage& page, const std::vector<std::string>& languages, int workers) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        malloc_trim(0);
        const double before = residentMegabytes();
        TesseractRecognizer recognizer({.folder = std::nullopt, .idleSeconds = 0.5});
        recognizer.setWorkers(workers);
        recognizer.recognize({.image = page.image, .languages = languages});
        const double open = residentMegabytes();
        while (recognizer.openEngines() > 0)
            usleep(100'000);
        usleep(300'000); // until freed memory has gone back
        std::printf("  %-34s %6.1f MB open, %6.1f MB closed again\n", what, open - before,
                    residentMegabytes() - before);
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
}

void memories(const std::filesystem::path& folder) {
    const bench::TextPage page = bench::textPages(folder).front();
    std::printf("Resident memory, above that of a process that reads nothing (what the libraries bring stays)\n");
    memory("one language", page, {"en-US"}, 1);
    memory("three languages", page, {"tr-TR", "de-DE", "en-US"}, 1);
    memory("three languages, two workers", page, {"tr-TR", "de-DE", "en-US"}, 2);
}

} // namespace

int main(int argc, char** argv) {
    // Read when the process starts. The rival's own threads would cost it more than they bring.
    if (std::getenv("OMP_THREAD_LIMIT") == nullptr) {
        setenv("OMP_THREAD_LIMIT", "1", 1);
        execv("/proc/self/exe", argv);
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // what takes minutes is worth following
    const auto given = [&](int index, const char* variable) {
        const char* const value = argc > index ? argv[index] : std::getenv(variable);
        return std::string(value ? value : "");
    };
    const std::string pages = given(1, "QUILLSHADE_PAGES");
    memories(pages);
    limits(pages);
    bool met = pagesOf(pages);
    met &= replay(given(2, "QUILLSHADE_SCREENS"));
    return met ? 0 : 1;
}
