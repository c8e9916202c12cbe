#include "core/base/Clock.h"
#include "core/reading/ReadingOrder.h"
#include "platform/PlatformError.h"
#include "platform/linux/libav/LibavPictureFiles.h"
#include "platform/linux/tesseract/LanguageData.h"
#include "platform/linux/tesseract/LineCache.h"
#include "platform/linux/tesseract/LineWorkers.h"
#include "platform/linux/tesseract/TesseractRecognizer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

namespace nomara {

namespace {

const Image& page() {
    static const Image image = LibavPictureFiles().read(std::filesystem::path(TEST_DATA) / "settings.png");
    return image;
}

std::string text(const TextResult& result) {
    std::string all;
    for (const std::string& line : ReadingOrder::lines(result.observations))
        all += line + "\n";
    return all;
}

TextRequest request(Image image = page()) {
    return {.image = std::move(image), .languages = {"en-US"}};
}

Image negative(const Image& image) {
    auto copy = std::make_shared<PixelBuffer>(*image);
    for (std::uint8_t& byte : copy->bytes)
        byte = static_cast<std::uint8_t>(255 - byte);
    return copy;
}

const TextObservation* find(const TextResult& result, const std::string& line) {
    const auto found = std::ranges::find(result.observations, line, &TextObservation::text);
    return found == result.observations.end() ? nullptr : &*found;
}

TEST(TesseractRecognizer, ReadsLightAndDarkTextAndTellsWhereItStands) {
    TesseractRecognizer recognizer;
    for (const Image& image : {page(), negative(page())}) {
        const TextResult result = recognizer.recognize(request(image));
        EXPECT_TRUE(result.isComplete);
        for (const char* const line :
             {"Network", "Bluetooth", "Record the screen", "Oldest recordings are removed first"})
            EXPECT_NE(find(result, line), nullptr) << line << " isn't in\n" << text(result);
    }

    const TextResult result = recognizer.recognize(request());
    const TextObservation* const line = find(result, "Record the screen");
    ASSERT_NE(line, nullptr);
    EXPECT_GT(line->confidence, 0.6);
    // In pixels, from the top: the line stands at 326,69-437,83.
    const auto pixels = [](const RelativeRect& box) {
        const double w = page()->width, h = page()->height;
        return RelativeRect{box.x * w, (1 - box.y - box.height) * h, box.width * w, box.height * h};
    };
    const RelativeRect box = pixels(line->box);
    EXPECT_NEAR(box.x, 325, 3);
    EXPECT_NEAR(box.y, 69, 3);
    EXPECT_NEAR(box.width, 113, 5);
    EXPECT_NEAR(box.height, 14, 4);
    const auto part = line->boundingBox(line->text.find("screen"), 6);
    ASSERT_TRUE(part);
    EXPECT_NEAR(pixels(*part).x, 393, 5);
    EXPECT_NEAR(pixels(*part).width, 45, 6);
}

TEST(TesseractRecognizer, ReadsOnlyTheRegion) {
    TesseractRecognizer recognizer;
    TextRequest left = request();
    left.regionOfInterest = RelativeRect{0, 0, 0.3, 1};
    const std::string menu = text(recognizer.recognize(left));
    EXPECT_NE(menu.find("Network"), std::string::npos) << menu;
    EXPECT_EQ(menu.find("Record"), std::string::npos) << menu;
    const auto before = recognizer.statistics().linesRead;
    for (const RelativeRect none : {RelativeRect{2, 2, 1, 1}, RelativeRect{0, 0, 0, 0}, RelativeRect{0.5, 0.5, -1, 1},
                                    RelativeRect{std::nan(""), 0, 1, 1}, RelativeRect{0, -3, 1, 1}}) {
        left.regionOfInterest = none;
        EXPECT_TRUE(recognizer.recognize(left).observations.empty());
    }
    EXPECT_EQ(recognizer.statistics().linesRead, before);
}

TEST(TesseractRecognizer, ReadsNoLineTwice) {
    TesseractRecognizer recognizer;
    const std::string first = text(recognizer.recognize(request()));
    const auto cold = recognizer.statistics();
    EXPECT_GT(cold.linesRead, 8U);
    EXPECT_EQ(text(recognizer.recognize(request())), first);
    EXPECT_EQ(recognizer.statistics().linesRead, cold.linesRead);

    // Scrolled by three pixels: the same lines elsewhere.
    auto scrolled = std::make_shared<PixelBuffer>(*page());
    std::copy(page()->bytes.begin(), page()->bytes.end() - static_cast<std::ptrdiff_t>(3 * page()->stride),
              scrolled->bytes.begin() + static_cast<std::ptrdiff_t>(3 * page()->stride));
    const TextResult moved = recognizer.recognize(request(scrolled));
    EXPECT_LE(recognizer.statistics().linesRead, cold.linesRead + 1); // what the lower edge cuts
    ASSERT_NE(find(moved, "Network"), nullptr);
    EXPECT_NEAR(find(recognizer.recognize(request()), "Network")->box.y - find(moved, "Network")->box.y,
                3.0 / page()->height, 1e-9);

    // In other languages it may say something else.
    TextRequest german = request();
    german.languages = {"de-DE"};
    recognizer.recognize(german);
    EXPECT_GE(recognizer.statistics().linesRead, 2 * cold.linesRead);
}

TEST(TesseractRecognizer, StopsBetweenTwoLines) {
    TesseractRecognizer recognizer;
    TextRequest stopped = request();
    stopped.shouldStop = [] { return true; };
    EXPECT_FALSE(recognizer.recognize(stopped).isComplete);
    EXPECT_EQ(recognizer.statistics().linesRead, 0U);

    for (const int workers : {1, 2}) {
        TesseractRecognizer fresh;
        fresh.setWorkers(workers);
        stopped.shouldStop = [&] { return fresh.statistics().linesRead >= 3; };
        const TextResult some = fresh.recognize(stopped);
        EXPECT_FALSE(some.isComplete);
        const auto read = fresh.statistics().linesRead;
        EXPECT_TRUE(read >= 3 && read < 3 + static_cast<unsigned>(workers)) << read << " with " << workers;
        EXPECT_LE(some.observations.size(), read);
        EXPECT_TRUE(fresh.recognize(request()).isComplete);
    }
}

TEST(LineWorkers, LetWhatIsUrgentGoFirst) {
    tesseract::LineWorkers workers(1, 300);
    LineCrop line{.pixels = GrayImage(60, 30, 255), .box = {0, 0, 52, 20}, .marginX = 4, .marginY = 5};
    std::vector<std::string> order;
    tesseract::LineWorkers::Work urgent{.folder = tesseract::LanguageData::findFolder(),
                                        .languages = "eng",
                                        .lines = {line, line},
                                        .isUrgent = true,
                                        .shouldStop = nullptr,
                                        .done = [&](std::size_t, const auto&) { order.emplace_back("urgent"); }};
    tesseract::LineWorkers::Work later = urgent;
    later.lines = {line, line, line};
    later.isUrgent = false;
    std::thread hurried;
    later.done = [&](std::size_t number, const auto&) {
        order.emplace_back("later");
        if (number != 0) return;
        hurried = std::thread([&] { EXPECT_TRUE(workers.read(urgent)); });
        while (workers.callers() < 2)
            std::this_thread::yield();
    };
    EXPECT_TRUE(workers.read(later));
    hurried.join();
    EXPECT_EQ(order, (std::vector<std::string>{"later", "urgent", "urgent", "later", "later"}));
    EXPECT_EQ(workers.callers(), 0U);
}

// A line takes a second or more while other programs keep the machine busy.
TEST(LineWorkers, WhoeverIsUrgentAndStopsDoesntWaitForALine) {
    tesseract::LineWorkers workers(1, 300);
    std::mt19937 random(3);
    LineCrop line{.pixels = GrayImage(24'000, 40, 255), .box = {0, 0, 23'990, 30}, .marginX = 4, .marginY = 5};
    for (int x = 0; x < 24'000; x += 6)
        for (int y = 8; y < 30; ++y)
            line.pixels.row(y)[x + static_cast<int>(random() % 3)] = 0;
    std::atomic<int> read = 0;
    const SystemClock clock;
    tesseract::LineWorkers::Work work{.folder = tesseract::LanguageData::findFolder(),
                                      .languages = "eng",
                                      .lines = {line, line},
                                      .isUrgent = true,
                                      .shouldStop = nullptr,
                                      .done = [&](std::size_t, const auto&) { ++read; }};
    const double start = clock.uptime();
    EXPECT_TRUE(workers.read(work));
    EXPECT_EQ(read, 2);
    const double whole = clock.uptime() - start;

    tesseract::LineWorkers::Work stopped = work;
    std::atomic<bool> isGone = false;
    const double again = clock.uptime();
    stopped.shouldStop = [&] {
        EXPECT_FALSE(isGone);
        return clock.uptime() > again + whole / 20;
    };
    stopped.done = [&](std::size_t, const auto&) { EXPECT_FALSE(isGone) << "its caller has gone"; };
    EXPECT_FALSE(workers.read(stopped));
    isGone = true;
    EXPECT_LT(clock.uptime() - again, whole / 4);
    EXPECT_TRUE(workers.read(work)) << "the next one is served once that line is done";
    EXPECT_EQ(read, 4);
}

TEST(TesseractRecognizer, TakesAnyImage) {
    TesseractRecognizer recognizer;
    auto broken = std::make_shared<PixelBuffer>(100, 100);
    broken->bytes.resize(500);
    auto narrow = std::make_shared<PixelBuffer>(100, 100);
    narrow->stride = 40;
    for (const Image& image :
         {Image(), Image(std::make_shared<PixelBuffer>()), Image(broken), Image(narrow),
          Image(std::make_shared<PixelBuffer>(7'680, 1)), Image(std::make_shared<PixelBuffer>(1, 900)),
          Image(std::make_shared<PixelBuffer>(800, 600))})
        EXPECT_TRUE(recognizer.recognize(request(image)).observations.empty());
    EXPECT_EQ(recognizer.statistics().linesRead, 0U);

    auto noise = std::make_shared<PixelBuffer>(800, 600);
    std::minstd_rand random(3);
    for (std::uint8_t& byte : noise->bytes)
        byte = static_cast<std::uint8_t>(random());
    EXPECT_TRUE(recognizer.recognize(request(noise)).isComplete);
    EXPECT_LE(recognizer.statistics().linesRead, 20U);
}

TEST(TesseractRecognizer, GivesItsMemoryBackWhenNothingIsRead) {
    TesseractRecognizer recognizer({.idleSeconds = 0.05});
    EXPECT_EQ(recognizer.openEngines(), 0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(recognizer.recognize(request(i == 0 ? page() : negative(page()))).isComplete);
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(120);
        while (recognizer.openEngines() > 0 && std::chrono::steady_clock::now() < limit)
            std::this_thread::yield();
        EXPECT_EQ(recognizer.openEngines(), 0);
    }
}

TEST(TesseractRecognizer, SaysWhyItCannotRead) {
    std::string name = (std::filesystem::temp_directory_path() / "quillshade-reading-XXXXXX").string();
    const std::filesystem::path folder = mkdtemp(name.data());
    TesseractRecognizer recognizer({.folder = folder});
    EXPECT_NE(recognizer.unavailableReason().find("tesseract-ocr-eng"), std::string::npos);
    EXPECT_THROW(recognizer.supportedLanguages(), PlatformError);
    EXPECT_THROW(recognizer.recognize(request()), PlatformError);

    std::filesystem::remove_all(folder);

    TesseractRecognizer working;
    EXPECT_EQ(working.unavailableReason(), "");
    EXPECT_TRUE(std::ranges::count(working.supportedLanguages(), "en-US"));
}

TEST(TesseractRecognizer, DamagedDataCountsAsMissingUntilItIsReplaced) {
    std::string name = (std::filesystem::temp_directory_path() / "quillshade-reading-XXXXXX").string();
    const std::filesystem::path folder = mkdtemp(name.data()), file = folder / "eng.traineddata";
    std::ifstream installed(tesseract::LanguageData::findFolder() / "eng.traineddata", std::ios::binary);
    const std::string sound((std::istreambuf_iterator<char>(installed)), {});
    ASSERT_GT(sound.size(), 1'000'000U);
    const std::size_t half = sound.size() / 2;
    const std::pair<const char*, std::string> rows[] = {
        {"something else", "not what Tesseract expects"},
        {"nothing", ""},
        {"cut short", sound.substr(0, half)},
        {"zeros", std::string(sound.size(), '\0')},
        {"of which Tesseract ends its process", sound.substr(0, half) + std::string(sound.size() - half, '\0')},
    };
    TesseractRecognizer recognizer({.folder = folder});
    int written = 0;
    const auto write = [&](const std::string& content) {
        std::ofstream(file, std::ios::binary) << content;
        // As a package does it: another time, whatever the clock's grain.
        std::filesystem::last_write_time(file, std::filesystem::file_time_type(std::chrono::hours(++written)));
    };
    for (const auto& [what, content] : rows) {
        write(content);
        EXPECT_EQ(recognizer.unavailableReason(), "") << what << ": not known yet";
        EXPECT_THROW(recognizer.recognize(request()), PlatformError) << what;
        EXPECT_NE(recognizer.unavailableReason().find(file.string()), std::string::npos) << what;
        EXPECT_THROW(recognizer.recognize(request()), PlatformError) << what;
        EXPECT_EQ(recognizer.supportedLanguages(), std::vector<std::string>{"en-US"}) << what;
        EXPECT_EQ(recognizer.openEngines(), 0) << what;
    }
    write(sound);
    EXPECT_EQ(recognizer.unavailableReason(), "");
    EXPECT_NE(find(recognizer.recognize(request()), "Network"), nullptr);
    std::filesystem::remove_all(folder);
}

TEST(LanguageData, ChoosesTheFilesForTheLanguages) {
    struct Row {
        std::vector<const char*> installed;
        std::vector<std::string> codes;
        const char* files;
    };
    const Row rows[] = {
        {{}, {"en-US"}, ""},
        {{"eng", "deu"}, {"de-DE"}, "deu"},
        {{"eng", "deu"}, {"fr-FR", "de-DE"}, "deu"},
        {{"eng", "deu"}, {"fr-FR"}, "eng"},
        {{"eng", "deu", "Latin"}, {"de-DE", "en-US"}, "Latin"},
        {{"eng", "deu", "script/Latin"}, {"de-DE", "en-US"}, "script/Latin"},
        {{"eng", "rus", "Latin"}, {"ru-RU", "en-US"}, "rus+eng"},
        {{"Latin", "rus"}, {"ru-RU", "fr-FR", "de-DE"}, "rus+Latin"},
    };
    std::string name = (std::filesystem::temp_directory_path() / "quillshade-reading-XXXXXX").string();
    const std::filesystem::path root = mkdtemp(name.data());
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const std::filesystem::path folder = root / std::to_string(i);
        std::filesystem::create_directories(folder / "script");
        for (const std::string file : rows[i].installed)
            std::ofstream(folder / (file + ".traineddata")) << "data";
        EXPECT_EQ(tesseract::LanguageData(folder).filesFor(rows[i].codes), rows[i].files) << i;
    }
    EXPECT_TRUE(tesseract::LanguageData(root / "none").codes().empty());
    std::filesystem::remove_all(root);
}

TEST(LineCache, ForgetsWhatWasAskedForLongestAgo) {
    const auto key = [](std::uint8_t shade) { return tesseract::LineKey::of(GrayImage(20, 10, shade), "eng"); };
    EXPECT_FALSE(key(1) == key(2));
    EXPECT_FALSE(key(1) == tesseract::LineKey::of(GrayImage(10, 20, 1), "eng"));
    EXPECT_FALSE(key(1) == tesseract::LineKey::of(GrayImage(20, 10, 1), "deu"));
    const auto line = [] {
        auto read = std::make_shared<tesseract::ReadLine>();
        read->text = std::string(1'000, 'x');
        return read;
    };
    tesseract::LineCache cache(5'000);
    for (std::uint8_t i = 0; i < 20; ++i) {
        cache.add(key(i), line());
        EXPECT_NE(cache.find(key(0)), nullptr) << int(i); // asked for each time, it stays
        EXPECT_LE(cache.bytes(), 5'000U);
    }
    EXPECT_EQ(cache.find(key(10)), nullptr);
    EXPECT_NE(cache.find(key(19)), nullptr);
}

} // namespace

} // namespace nomara
