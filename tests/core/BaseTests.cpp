#include "core/base/Calendar.h"
#include "core/base/Paths.h"
#include "core/base/SerialQueue.h"
#include "core/geometry/Geometry.h"
#include "core/records/Frames.h"
#include "tests/support/Environment.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <stdexcept>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>

namespace nomara {
namespace {

namespace fs = std::filesystem;
using testing::Environment;

TEST(NomaraPaths, FollowsTheEnvironment) {
    const struct {
        const char *override, *xdg, *home, *expected;
    } rows[] = {
        {"/data", "/xdg", "/home/a", "/data"},
        {"", "/xdg", "/home/a", "/xdg/Nomara"},
        {nullptr, "/xdg", "/home/a", "/xdg/Nomara"},
        {nullptr, "relative", "/home/a", "/home/a/.local/share/Nomara"},
        {nullptr, nullptr, "/home/a", "/home/a/.local/share/Nomara"},
    };
    for (const auto& row : rows) {
        const Environment set{{"NOMARA_DATA_DIR", row.override}, {"XDG_DATA_HOME", row.xdg}, {"HOME", row.home}};
        EXPECT_EQ(NomaraPaths::dataDirectory(), row.expected);
        EXPECT_EQ(NomaraPaths::databaseURL(), fs::path(row.expected) / "nomara.sqlite");
        EXPECT_EQ(NomaraPaths::framesFile("segments/2026-01-02/1-2.mp4"),
                  fs::path(row.expected) / "Frames.noindex/segments/2026-01-02/1-2.mp4");
    }
}

TEST(NomaraPaths, MakesPrivateFoldersAndMeasuresFiles) {
    std::string name = (fs::temp_directory_path() / "quillshade-paths-XXXXXX").string();
    const fs::path root = mkdtemp(name.data());
    const fs::path data = root / "deep" / "data";
    const Environment set{{"NOMARA_DATA_DIR", data.c_str()}};
    const mode_t before = umask(0);
    NomaraPaths::ensureDirectories();
    umask(before);
    for (const fs::path& folder : {root / "deep", data, data / "Frames.noindex", data / "Frames.noindex/pending",
                                   data / "Frames.noindex/segments", data / "Frames.noindex/tmp"})
        EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all) << folder;
    fs::permissions(data, fs::perms::all);
    NomaraPaths::ensureDirectories();
    EXPECT_EQ(fs::status(data).permissions(), fs::perms::owner_all) << "made private again";

    EXPECT_EQ(NomaraPaths::fileSize(data / "absent"), 0);
    std::ofstream(data / "file") << std::string(100'000, 'x');
    std::ofstream(data / "Frames.noindex/tmp/other") << std::string(50'000, 'x');
    fs::create_symlink(data / "file", data / "link");
    EXPECT_GE(NomaraPaths::fileSize(data / "file"), 100'000);
    EXPECT_EQ(NomaraPaths::directorySize(data),
              NomaraPaths::fileSize(data / "file") + NomaraPaths::fileSize(data / "Frames.noindex/tmp/other"));

    for (const char* below : {"Frames.noindex/tmp", "Frames.noindex/segments", "Frames.noindex"}) {
        fs::remove_all(data / below);
        std::ofstream(data / below) << "in the way";
        EXPECT_THROW(NomaraPaths::ensureDirectories(), fs::filesystem_error) << "a file at " << below;
        fs::remove(data / below);
        fs::create_symlink(root / "nowhere", data / below);
        EXPECT_THROW(NomaraPaths::ensureDirectories(), fs::filesystem_error)
            << "a link that leads nowhere at " << below;
        fs::remove(data / below);
        fs::create_directory(root / "elsewhere");
        fs::create_directory_symlink(root / "elsewhere", data / below);
        EXPECT_NO_THROW(NomaraPaths::ensureDirectories()) << "a link to a folder at " << below;
    }
    fs::remove_all(data);
    std::ofstream file(data);
    EXPECT_THROW(NomaraPaths::ensureDirectories(), fs::filesystem_error) << "a file stands in the way";
    fs::remove_all(root);
}

TEST(Calendar, KeysAndDaysFollowTheTimeZone) {
    const Environment set{{"TZ", "Europe/Berlin"}};
    const Date lateEvening{1793403000}; // 2026-10-30 23:30 UTC
    EXPECT_EQ(Calendar::dayKey(lateEvening), "2026-10-31");
    const Date beforeChange{1'792'879'200}; // 2026-10-25 00:00 in Berlin, the day with 25 hours
    EXPECT_EQ(Calendar::dayKey(Calendar::startOfDay(beforeChange + 90'000 - 1)), "2026-10-25");
    EXPECT_EQ(Calendar::addingDays(Calendar::startOfDay(beforeChange), 1) - Calendar::startOfDay(beforeChange), 90'000);
    EXPECT_EQ(Calendar::iso8601({0.9}), "1970-01-01T00:00:00Z");
    EXPECT_EQ(Calendar::dayKey({-1}), "1970-01-01");
}

TEST(Records, DeriveTitlesAndContexts) {
    FrameRecord frame;
    EXPECT_FALSE(frame.displayTitle());
    EXPECT_EQ(frame.contextKey(), "?\x1f");
    frame.appBundleID = "org.notes";
    EXPECT_EQ(frame.displayTitle(), "org.notes");
    frame.appName = "Notes";
    frame.windowTitle = "";
    EXPECT_EQ(frame.displayTitle(), "Notes");
    EXPECT_EQ(frame.contextKey(), "org.notes\x1f");
    EXPECT_EQ(imageState(9), ImageState::none);
    EXPECT_EQ(ocrState(9), OCRState::notNeeded);
    EXPECT_TRUE(TextSource{3}.contains(TextSource::ocr() | TextSource::accessibility()));
    EXPECT_FALSE((RelativeRect{0, 0, 0.05, 1}.isUsableAsFocus()));
    EXPECT_EQ((Rect{0, 0, 10, 10}.intersection({5, 5, 10, 10})), (Rect{5, 5, 5, 5}));
    EXPECT_FALSE((Rect{0, 0, 10, 10}.intersects({10, 0, 10, 10}))) << "sharing an edge is no overlap";
}

TEST(SerialQueue, RunsInOrderPassesResultsAndEndsItsWork) {
    std::string order;
    {
        SerialQueue queue("test.queue", QueueQuality::background);
        for (char c = 'a'; c <= 'e'; ++c)
            queue.async([&order, c] { order += c; });
        EXPECT_EQ(queue.sync([&] { return order; }), "abcde");
        EXPECT_THROW(queue.sync([]() -> int { throw std::runtime_error("no"); }), std::runtime_error);
        EXPECT_TRUE(queue.sync([&] { return queue.isCurrent(); }));
        EXPECT_FALSE(queue.isCurrent());
        queue.async([&] { queue.async([&order] { order += 'z'; }); });
    }
    EXPECT_EQ(order, "abcdez") << "the end waits for what is queued";
}

TEST(SerialQueue, AFailureEndsOnePieceOfWorkAlone) {
    SerialQueue queue("test.queue", QueueQuality::utility);
    queue.async([] { throw std::runtime_error("expected by the test"); });
    EXPECT_EQ(queue.sync([] { return 7; }), 7);
}

TEST(SerialQueue, LetsOtherWorkInBetweenFiringsThatAreAlwaysDue) {
    std::unique_ptr<SerialQueue::Timer> timer;
    SerialQueue queue("test.queue", QueueQuality::utility);
    std::promise<void> firing;
    bool fired = false;
    timer = queue.repeat(0, 0, 0, [&] {
        if (!std::exchange(fired, true)) firing.set_value();
    });
    firing.get_future().wait();
    EXPECT_EQ(queue.sync([] { return 7; }), 7);
    // The queue ends here although the timer still runs.
}

TEST(SerialQueue, ATimersLeewayIsNotThatOfTheWork) {
    SerialQueue queue("test.queue", QueueQuality::utility);
    const auto slack = [] { return prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0); };
    const int ordinary = queue.sync(slack);
    std::promise<int> inside;
    bool fired = false;
    const auto timer = queue.repeat(0.001, 60, 0.3, [&] {
        if (!std::exchange(fired, true)) inside.set_value(slack());
    });
    EXPECT_EQ(inside.get_future().get(), ordinary);
}

TEST(SerialQueue, RepeatsUntilTheTimerGoes) {
    SerialQueue queue("test.queue", QueueQuality::utility);
    std::atomic<int> fired = 0;
    std::promise<void> third;
    auto timer = queue.repeat(0.001, 0.001, 0, [&] {
        if (++fired == 3) third.set_value();
    });
    third.get_future().wait();
    queue.sync([&] { timer.reset(); });
    const int before = fired;
    std::promise<void> later; // another timer of the same queue, due after the first would have been
    auto second = queue.repeat(0.01, 60, 0, [&] { later.set_value(); });
    later.get_future().wait();
    EXPECT_EQ(fired, before);
}

} // namespace
} // namespace nomara
