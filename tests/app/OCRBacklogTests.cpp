#include "Quillshade/reading/OCRBacklog.h"
#include "Quillshade/segments/FrameImageLoader.h"
#include "Quillshade/store/StoreHub.h"
#include "core/base/Calendar.h"
#include "core/store/SQLiteDatabase.h"
#include "core/text/LineDeduper.h"
#include "platform/PlatformError.h"
#include "platform/fake/FakeTextRecognizer.h"
#include "platform/fake/FakeVideoCodec.h"
#include "platform/fake/ManualClock.h"
#include "tests/support/PostedWork.h"
#include "tests/support/TemporaryData.h"

#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Strings = std::vector<std::string>;

constexpr OCRBacklog::Pauses none{0, 0, 0};
constexpr OCRBacklog::Pauses endless{1e6, 1e6, 1e6};
constexpr int firstWidth = 100;

/// Pictures in memory, each of which the recogniser knows by its width.
struct Machine {
    ManualClock clock{{1'793'000'000}};
    std::shared_ptr<LineDeduper> lines = std::make_shared<LineDeduper>(24, 6'000, 1'800); // the recorder's
    testing::PostedWork mainThread;
    StoreHub hub{mainThread.executor(), clock};
    FakeVideoCodec codec;
    FrameImageLoader images{codec};
    FakeTextRecognizer recognizer;
    OCRService ocr{recognizer, {}};
    std::map<int, Strings> texts; ///< by number of the picture; to be set while nothing is read
    std::atomic<int> readings = 0;
    std::function<void(int reading)> onReading = [](int) {}; ///< on the backlog's thread
    int progress = 0;
    std::optional<OCRBacklog> backlog;

    Machine() {
        recognizer.setReading([this](const TextRequest& request) {
            onReading(++readings);
            TextResult result;
            double y = 1;
            for (const std::string& line : texts[request.image->width - firstWidth])
                if (const RelativeRect place{0, y -= 0.02, 0.5, 0.01}; !request.isKnown || !request.isKnown(place))
                    result.observations.push_back(FakeTextRecognizer::piece(line, place));
            return result;
        });
        build(none);
    }

    const KnownLines notes{contextKey("org.editor", "Notes")};

    void build(OCRBacklog::Pauses pauses) {
        backlog.emplace(OCRBacklog::Services{hub, ocr, images, clock, mainThread.executor(), lines}, pauses);
        backlog->setOnProgress([this] { ++progress; });
        backlog->setAllowed(true);
    }
    /// A file of pictures `first` and on.
    void film(const std::string& path, int first, int count) {
        FakeVideoCodec::Video video;
        for (int i = 0; i < count; ++i)
            video.frames.push_back(std::make_shared<PixelBuffer>(firstWidth + first + i, 1));
        codec.put(NomaraPaths::framesFile(path), video);
    }
    RowID segment(const std::string& path, int first, int count, bool closed = true) {
        film(path, first, count);
        return hub.write([&](MemoryStore& store) {
            const RowID id = store.insertOpenSegment(path, 1, {1}, 100, 100);
            if (closed) store.closeSegment(id, {2}, count, 1);
            return id;
        });
    }
    NewFrame frame(RowID segmentID, std::int64_t index, double age = 100) const {
        NewFrame made{.timestamp = clock.now() - age + static_cast<double>(index) * 1e-3,
                      .appBundleID = "org.editor",
                      .windowTitle = "Notes"};
        made.imageState = ImageState::segment;
        made.segmentID = segmentID;
        made.segmentIndex = index;
        made.ocrState = OCRState::queued;
        return made;
    }
    RowID put(const NewFrame& frame) {
        return hub.write([&](MemoryStore& store) { return store.insertFrame(frame); });
    }
    std::vector<RowID> putFrames(RowID segmentID, int count) {
        std::vector<RowID> ids;
        ids.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i)
            ids.push_back(put(frame(segmentID, i)));
        return ids;
    }
    static bool eventually(const std::function<bool()>& condition) {
        for (int i = 0; i < 60'000; ++i) {
            if (condition()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }
    /// Waits for the end of the pass under way, and for its word to the main thread.
    bool ends() {
        const int before = progress;
        return eventually([&] { return !backlog->isRunning(); }) && eventually([&] {
                   mainThread.run();
                   return progress > before;
               });
    }
    bool pass() { return backlog->kick() && ends(); }
    void readSoon(RowID id, Image image) { readSoon(id, std::move(image), notes); }
    void readSoon(RowID id, Image image, const KnownLines& known) {
        backlog->readSoon(id, stored(id).timestamp, std::move(image), known);
    }
    FrameRecord stored(RowID id) {
        return *hub.read([&](MemoryStore& store) { return store.frame(id); });
    }
    OCRState state(RowID id) { return stored(id).ocrState; }
    std::string text(RowID id) {
        return hub.read([&](MemoryStore& store) { return store.frameText(id).value_or("(none)"); });
    }
    std::int64_t queued() {
        return hub.read([](MemoryStore& store) { return store.queuedOCRCount(); });
    }
    std::int64_t runs() {
        const std::string day = Calendar::dayKey(clock.now());
        return hub.read([&](MemoryStore& store) {
            const auto days = store.stats(day, day);
            return days.empty() ? 0 : days.front().ocrRuns;
        });
    }
};

struct DataFolder {
    testing::TemporaryData data;
};

struct Backlog : DataFolder, Machine, ::testing::Test {};

TEST_F(Backlog, RunsOnceAndOnlyWhenAllowed) {
    const auto ids = putFrames(segment("a.mp4", 0, 30), 30);
    texts[1] = {"finished"};
    backlog->setAllowed(false);
    EXPECT_FALSE(backlog->kick());
    backlog->setAllowed(true);
    onReading = [&](int reading) {
        if (reading == 1) {
            EXPECT_FALSE(backlog->kick()) << "a second pass beside the first";
        }
        if (reading == 2) backlog->setAllowed(false);
    };
    ASSERT_TRUE(pass());
    EXPECT_EQ(readings, 2);
    EXPECT_EQ(text(ids[1]), "finished") << "the frame in progress is finished";
    EXPECT_FALSE(backlog->kick());
    backlog->setAllowed(true);
    ASSERT_TRUE(pass());
    EXPECT_EQ(queued(), 0);
    EXPECT_TRUE(pass()) << "nothing left: a pass that ends at once";
}

TEST_F(Backlog, ReadsWhatWasJustSeenBeforeAllOther) {
    const auto picture = [](int number) { return std::make_shared<PixelBuffer>(firstWidth + number, 1); };
    const RowID open = segment("open.mp4", 50, 4, false), closed = segment("a.mp4", 0, 3);
    const auto old = putFrames(closed, 3);
    std::vector<RowID> fresh;
    for (int i = 0; i < 4; ++i) {
        auto made = frame(open, i, 1);
        made.lines = {"read in time"};
        fresh.push_back(put(made));
        texts[50 + i] = {"read in time", "fresh " + std::to_string(i)};
    }
    // While an old frame is being read three come: the first of them has to wait for its turn.
    onReading = [&](int reading) {
        if (reading != 1) return;
        for (int i = 0; i < 3; ++i)
            readSoon(fresh[static_cast<std::size_t>(i)], picture(50 + i));
    };
    ASSERT_TRUE(pass());
    std::vector<int> order;
    for (const TextRequest& request : recognizer.requests())
        order.push_back(request.image->width - firstWidth);
    EXPECT_EQ(order, (std::vector{0, 51, 52, 1, 2}));
    EXPECT_EQ(text(fresh[1]), "read in time\nfresh 1") << "a line that was there already came twice";
    EXPECT_EQ(state(fresh[0]), OCRState::queued);

    // One that comes while nothing is read starts a pass, by itself; where power doesn't allow it, it waits its turn.
    readSoon(fresh[3], picture(53));
    EXPECT_TRUE(eventually([&] { return state(fresh[3]) == OCRState::done; }));
    ASSERT_TRUE(eventually([&] { return !backlog->isRunning(); }));
    const auto before = recognizer.requests().size();
    backlog->setAllowed(false);
    readSoon(fresh[0], picture(50));
    backlog->setAllowed(true);
    ASSERT_TRUE(pass());
    // The number may be another frame's by now.
    backlog->readSoon(fresh[0], stored(fresh[0]).timestamp + 1, picture(50), notes);
    ASSERT_TRUE(eventually([&] { return !backlog->isRunning(); }));
    EXPECT_EQ(recognizer.requests().size(), before);
}

TEST_F(Backlog, ReadsTheOldestFirstInBatchesAndTellsOfItsProgress) {
    const RowID segmentID = segment("a.mp4", 0, 60);
    for (int i = 1; i < 54; ++i)
        put(frame(segmentID, i, 1'000.0 - i));
    auto oldest = frame(segmentID, 0, 5'000);
    oldest.windowRect = RelativeRect{0.25, 0, 0.5, 0.5};
    put(oldest);
    ASSERT_TRUE(pass());
    EXPECT_EQ(progress, 3) << "each 25th and the end";
    EXPECT_EQ(queued(), 0);
    EXPECT_EQ(runs(), 54);
    const auto requests = recognizer.requests();
    ASSERT_EQ(requests.size(), 54U);
    EXPECT_EQ(requests.front().regionOfInterest, (RelativeRect{0.25, 0.5, 0.5, 0.5})) << "the front window alone";
    for (std::size_t i = 0; i < requests.size(); ++i) {
        EXPECT_EQ(requests[i].urgency, TextRequest::Urgency::later);
        EXPECT_EQ(requests[i].image->width, firstWidth + static_cast<int>(i));
        EXPECT_EQ(codec.decoded()[i].second, 0) << "smaller than it is";
    }
}

TEST_F(Backlog, WhatCantBeReadYetWaits) {
    const RowID closed = segment("a.mp4", 0, 4), open = segment("b.mp4", 10, 4, false);
    auto done = frame(closed, 0), unwanted = frame(closed, 1);
    done.ocrState = OCRState::done;
    unwanted.ocrState = OCRState::notNeeded;
    put(done);
    put(unwanted);
    const RowID young = put(frame(closed, 2, 19)), ready = put(frame(closed, 3, 21)), growing = put(frame(open, 0));
    ASSERT_TRUE(pass());
    EXPECT_EQ(readings, 1);
    EXPECT_EQ(state(ready), OCRState::done);
    EXPECT_EQ(state(young), OCRState::queued);
    EXPECT_EQ(state(growing), OCRState::queued);
    EXPECT_EQ(codec.opened(), std::vector{NomaraPaths::framesFile("a.mp4")}) << "an open segment was opened";
    clock.advance(2);
    hub.write([&](MemoryStore& store) { store.closeSegment(open, {2}, 4, 1); });
    ASSERT_TRUE(pass());
    EXPECT_EQ(queued(), 0);
}

TEST_F(Backlog, AddsOnlyLinesThatTheFrameAndItsWindowDontHave) {
    const RowID segmentID = segment("a.mp4", 0, 6);
    texts[0] = {"File  Edit View", "first line", "x", "FIRST LINE"};
    texts[1] = {"first line", "second line"};
    texts[2] = {"first line"};
    texts[4] = {"first line"};
    auto read = frame(segmentID, 0);
    read.lines = {"File Edit View", "of its own"};
    read.textSource = TextSource::accessibility();
    auto otherWindow = frame(segmentID, 2), laterOn = frame(segmentID, 4);
    otherWindow.windowTitle = "Other";
    laterOn.timestamp = read.timestamp + 2'000;
    clock.advance(3'000);
    const RowID first = put(read), second = put(frame(segmentID, 1)), other = put(otherWindow);
    const RowID empty = put(frame(segmentID, 3)), later = put(laterOn);
    ASSERT_TRUE(pass());
    EXPECT_EQ(text(first), "File Edit View\nof its own\nfirst line");
    EXPECT_EQ(stored(first).textSource, TextSource::accessibility() | TextSource::ocr());
    EXPECT_EQ(text(second), "second line");
    EXPECT_EQ(text(other), "first line");
    EXPECT_EQ(text(empty), "");
    EXPECT_EQ(state(empty), OCRState::done) << "an image without text has been read";
    EXPECT_EQ(text(later), "first line") << "half an hour later the window forgets";
    const RowID again = put(frame(segmentID, 0));
    ASSERT_TRUE(pass());
    EXPECT_EQ(text(again), "File Edit View") << "lately the window showed the rest already";
}

// The recorder and whoever reads later store each line of a window once, whichever comes first.
TEST_F(Backlog, SharesTheMemoryOfLinesWithTheRecorder) {
    const RowID open = segment("a.mp4", 0, 4, false);
    texts[0] = {"seen at once", "read later", "of a control"};
    auto made = frame(open, 0, 1);
    made.lines = lines->newLines({"seen at once"}, notes.context, clock.uptime());
    const RowID first = put(made), second = put(frame(open, 1, 1));
    KnownLines withControl = notes;
    withControl.isKnown = [](const RelativeRect& line) { return line.y < 0.95; };
    readSoon(first, std::make_shared<PixelBuffer>(firstWidth, 1), withControl);
    ASSERT_TRUE(eventually([&] { return state(first) == OCRState::done; }));
    EXPECT_EQ(text(first), "seen at once\nread later");
    EXPECT_EQ(lines->newLines({"read later", "of a control", "new"}, notes.context, clock.uptime()),
              (std::vector<std::string>{"of a control", "new"}));

    // What the recorder sees meanwhile is stored with its frame.
    ASSERT_TRUE(eventually([&] { return !backlog->isRunning(); }));
    texts[1] = {"seen at once", "new", "newer"};
    readSoon(second, std::make_shared<PixelBuffer>(firstWidth + 1, 1), notes);
    ASSERT_TRUE(eventually([&] { return state(second) == OCRState::done; }));
    EXPECT_EQ(text(second), "newer");

    // A line that couldn't be stored isn't known.
    ASSERT_TRUE(eventually([&] { return !backlog->isRunning(); }));
    const RowID third = put(frame(open, 2, 1));
    texts[2] = {"lost"};
    onReading = [&](int) { SQLiteDatabase(data.database(), false).run("DELETE FROM frames WHERE id = ?", {third}); };
    readSoon(third, std::make_shared<PixelBuffer>(firstWidth + 2, 1), notes);
    ASSERT_TRUE(eventually([&] { return readings == 3; }));
    ASSERT_TRUE(eventually([&] { return !backlog->isRunning(); }));
    EXPECT_EQ(lines->newLines({"lost"}, notes.context, clock.uptime()), std::vector<std::string>{"lost"});
}

TEST_F(Backlog, APictureThatIsGoneIsGivenUp) {
    const RowID good = segment("a.mp4", 0, 2), vanished = segment("b.mp4", 10, 1);
    std::filesystem::remove(NomaraPaths::framesFile("b.mp4"));
    auto dropped = frame(good, 0);
    dropped.imageState = ImageState::dropped;
    std::vector<RowID> ids;
    for (const NewFrame& gone : {frame(vanished, 0), frame(good, 7), dropped, frame(999, 0)})
        ids.push_back(put(gone));
    const RowID whole = put(frame(good, 1, 50));
    build({1e-3, 1e6, 1e6}); // only a batch that brings nothing would make it wait
    ASSERT_TRUE(pass());
    for (const RowID id : ids)
        EXPECT_EQ(state(id), OCRState::failed) << "no file, beyond its end, dropped, no segment: " << id;
    EXPECT_EQ(state(whole), OCRState::done) << "what comes behind is still read";
    EXPECT_EQ(runs(), 1);
}

TEST_F(Backlog, AFrameRewrittenMeanwhileIsReadFromItsNewPlace) {
    const RowID old = segment("a.mp4", 0, 1);
    FakeVideoCodec::Video torn = codec.video(NomaraPaths::framesFile("a.mp4"));
    torn.damaged = {0};
    codec.put(NomaraPaths::framesFile("a.mp4"), torn);
    film("c.mp4", 20, 2);
    texts[21] = {"moved"};
    const RowID id = put(frame(old, 0));
    codec.holdReads(true);
    ASSERT_TRUE(backlog->kick());
    ASSERT_TRUE(eventually([&] { return codec.opened().size() == 1; }));
    hub.write([&](MemoryStore& store) {
        const RewrittenFrame moved{id, 1};
        store.applyRewrite(old, NewSegment{.path = "c.mp4", .frameCount = 2}, {&moved, 1}, {}, 0);
    });
    codec.holdReads(false);
    ASSERT_TRUE(ends());
    EXPECT_EQ(state(id), OCRState::done);
    EXPECT_EQ(text(id), "moved");
}

TEST_F(Backlog, TextOfAForgottenFrameReachesNoOther) {
    const RowID segmentID = segment("a.mp4", 0, 2);
    texts[0] = {"secret", "shared"};
    texts[1] = {"shared"};
    const RowID other = put(frame(segmentID, 1, 50));
    const RowID forgotten = put(frame(segmentID, 0));
    RowID reused = 0;
    onReading = [&](int reading) {
        if (reading > 1) return;
        hub.write([&](MemoryStore& store) { store.removeFromIndex(forgotten); });
        SQLiteDatabase direct(data.database(), false);
        direct.run("DELETE FROM frames WHERE id = ?", {forgotten});
        direct.run("DELETE FROM frame_text WHERE frame_id = ?", {forgotten});
        reused = put(frame(segmentID, 1, 5));
    };
    ASSERT_TRUE(pass());
    ASSERT_EQ(reused, forgotten) << "the number is given again";
    EXPECT_EQ(text(reused), "");
    EXPECT_EQ(state(reused), OCRState::queued) << "it waits for its own reading";
    EXPECT_EQ(text(other), "shared") << "a line that was only in what is forgotten";
}

// A frame of the next memory may have the number of one whose picture is still in hand.
TEST_F(Backlog, ForgetsThePicturesOfAMemoryThatIsNoMore) {
    std::atomic<bool> begun = false;
    recognizer.setReading([&](const TextRequest& request) {
        begun = true;
        while (!request.shouldStop())
            std::this_thread::yield();
        return TextResult{{FakeTextRecognizer::piece("of before", {0, 0.5, 0.5, 0.1})}, true};
    });
    const RowID unfinished = segment("a.mp4", 0, 2, false);
    const auto old = putFrames(unfinished, 2);
    readSoon(old[0], std::make_shared<PixelBuffer>(firstWidth, 1));
    ASSERT_TRUE(eventually([&] { return begun.load(); }));
    readSoon(old[1], std::make_shared<PixelBuffer>(firstWidth, 1));
    int held = 0;
    for (int i = 0; i < 2; ++i)
        backlog->suspend([&] { ++held; });
    EXPECT_TRUE(eventually([&] {
        mainThread.run();
        return held == 2;
    }));
    EXPECT_FALSE(backlog->isRunning());
    backlog->setAllowed(true); // as other news of power and settings do meanwhile
    readSoon(old[0], std::make_shared<PixelBuffer>(firstWidth, 1));
    EXPECT_FALSE(backlog->kick() || backlog->isRunning());
    backlog->resume();
    EXPECT_FALSE(backlog->kick() || backlog->isRunning()) << "another one still holds it";
    hub.eraseAll();
    begun = false;
    const auto fresh = putFrames(segment("a.mp4", 0, 2, false), 2);
    ASSERT_EQ(fresh, old);
    backlog->resume();
    EXPECT_TRUE(ends());
    EXPECT_FALSE(begun) << "a picture of the memory before was read";
    EXPECT_EQ(text(fresh[0]) + text(fresh[1]), "");
}

TEST_F(Backlog, EndsAtOnceWhereverItIs) {
    putFrames(segment("a.mp4", 0, 10), 10);
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"cancelled", [&] { backlog->cancel(); }},
        {"no longer allowed", [&] { backlog->setAllowed(false); }},
        {"destroyed", [&] { backlog.reset(); }},
    };
    std::int64_t left = 10;
    for (const auto& [name, end] : rows) {
        build(endless);
        ASSERT_TRUE(backlog->kick()) << name;
        ASSERT_TRUE(eventually([&] { return queued() == left - 1; })) << name;
        end(); // in the pause behind the first frame
        --left;
        EXPECT_TRUE(!backlog || ends()) << name;
        EXPECT_EQ(queued(), left) << name;
    }
}

TEST_F(Backlog, WhatAFailedWriteHasLostIsReadAgainWhole) {
    const RowID segmentID = segment("a.mp4", 0, 2);
    texts[0] = {"only here", "in both"};
    texts[1] = {"in both"};
    const RowID first = put(frame(segmentID, 0)), second = put(frame(segmentID, 1));
    SQLiteDatabase direct(data.database(), false);
    direct.execute("CREATE TRIGGER full BEFORE INSERT ON daily_stats BEGIN SELECT RAISE(ABORT, 'disk full'); END");
    onReading = [&](int reading) {
        if (reading == 4) SQLiteDatabase(data.database(), false).execute("DROP TRIGGER full");
    };
    ::testing::internal::CaptureStderr();
    ASSERT_TRUE(pass());
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("disk full"), std::string::npos) << "nothing was said";
    EXPECT_EQ(queued(), 0);
    EXPECT_EQ(runs(), 2) << "the frame's text and the count are one";
    EXPECT_NE((text(first) + "\n" + text(second)).find("only here"), std::string::npos);
    EXPECT_NE((text(first) + "\n" + text(second)).find("in both"), std::string::npos);
    EXPECT_EQ(readings, 5) << "the second frame went through at its second try, the first at its third";
}

TEST_F(Backlog, FramesThatAlwaysFailLetAllOthersBeRead) {
    const auto ids = putFrames(segment("a.mp4", 0, 50), 50);
    SQLiteDatabase direct(data.database(), false);
    direct.execute("CREATE TRIGGER bad BEFORE UPDATE ON frames WHEN OLD.id <= " + std::to_string(ids[44]) +
                   " BEGIN SELECT RAISE(ABORT, 'never'); END");
    build({0, 1e-3, 1e-3, 60});
    ::testing::internal::CaptureStderr();
    ASSERT_TRUE(pass());
    EXPECT_EQ(queued(), 45);
    ASSERT_TRUE(pass());
    EXPECT_EQ(readings, 50) << "those that fail wait longer and longer";
    direct.execute("DROP TRIGGER bad");
    clock.advance(1);
    ASSERT_TRUE(pass());
    EXPECT_EQ(queued(), 0);

    // Where none can be settled it waits: whatever else it did would show as another reading.
    direct.execute("CREATE TRIGGER full BEFORE UPDATE ON frames BEGIN SELECT RAISE(ABORT, 'disk full'); END");
    putFrames(1, 25);
    build({0, 1e6, 1e6});
    ASSERT_TRUE(backlog->kick());
    ASSERT_TRUE(eventually([&] { return readings == 115; }));
    backlog->cancel();
    EXPECT_TRUE(ends());
    EXPECT_EQ(readings, 115) << "a full disk was met with work without end";
    direct.execute("DROP TABLE frames");
    EXPECT_TRUE(pass()) << "frames that can't be read end the pass";
    ::testing::internal::GetCapturedStderr();
}

TEST_F(Backlog, WithoutDataEverythingWaits) {
    const auto ids = putFrames(segment("a.mp4", 0, 3), 3);
    recognizer.setUnavailable("Install something.");
    ASSERT_TRUE(pass());
    EXPECT_EQ(readings, 0);
    EXPECT_EQ(queued(), 3);
    // Data that goes while an image is read.
    recognizer.setUnavailable("");
    recognizer.setReading([&](const TextRequest&) -> TextResult {
        if (++readings == 1) return {};
        recognizer.setUnavailable("Install it again.");
        throw PlatformError("There is no data.");
    });
    ::testing::internal::CaptureStderr();
    ASSERT_TRUE(pass());
    EXPECT_EQ(queued(), 2) << "a frame passes for read that nobody has read";
    // An image at which reading fails though all is there: it won't get better.
    recognizer.setUnavailable("");
    recognizer.setReading([](const TextRequest&) -> TextResult { throw PlatformError("Too strange."); });
    ASSERT_TRUE(pass());
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(queued(), 0);
    EXPECT_EQ(state(ids[2]), OCRState::done);
    EXPECT_EQ(text(ids[2]), "");
}

} // namespace
} // namespace nomara
