#include "Quillshade/app/AppModel.h"
#include "Quillshade/app/ControlService.h"
#include "Quillshade/app/MainThread.h"
#include "core/base/Calendar.h"
#include "core/base/Paths.h"
#include "platform/fake/FakePreferencesStore.h"
#include "platform/fake/FakeProcessUsage.h"
#include "platform/fake/FakeTextRecognizer.h"
#include "tests/app/Harness.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>
#include <atomic>
#include <fstream>
#include <functional>
#include <limits>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace nomara {
namespace {

QCoreApplication& application() {
    static int count = 1;
    static char name[] = "app_tests";
    static char* arguments[] = {name, nullptr};
    static QCoreApplication instance(count, arguments);
    return instance;
}

struct ModelHarness : FakeMachine {
    QCoreApplication& app = application();
    FakeProcessUsage usage;
    std::vector<std::string> languages;
    FakePreferencesStore preferences;
    AppSettings settings{preferences};
    StoreHub hub{mainThreadExecutor(app), clock};
    std::unique_ptr<AppModel> model;

    AppModel& build() {
        const Recorder::StartTimer never = [](auto&&...) { return std::make_unique<SerialQueue::Timer>(); };
        model = std::make_unique<AppModel>(
            hub, settings, clock,
            Platform{accessibility,
                     windowServer,
                     input,
                     applications,
                     streams,
                     codec,
                     volume,
                     recognizer,
                     usage,
                     {},
                     languages},
            AppModel::Surroundings{mainThreadExecutor(app), "com.brindlewick.Quillshade", never});
        return *model;
    }
    /// Returns when what a crash might have left has been looked at.
    void start() {
        build();
        QSignalSpy launched(model.get(), &AppModel::launched);
        model->start();
        // Answers that are there already don't let the model wait for them.
        ASSERT_TRUE(!launched.isEmpty() || launched.wait(60'000));
    }
    /// Past the setup and in text-only mode, unless the test says otherwise.
    void record(bool textOnly = true) {
        settings.onboardingCompleted.set(true);
        settings.textOnlyMode.set(textOnly);
        start();
        settle();
    }
    nlohmann::json report() { return nlohmann::json::parse(ControlService(*model).Status().toStdString()); }
    void reload() {
        model->reloadSettings();
        settle();
    }
    /// Lets the recorder and then the main thread do what they were told.
    void settle() {
        model->recorder().queue().sync([] {});
        hub.write([](MemoryStore&) {});
        QCoreApplication::processEvents();
    }
    void tick() {
        model->recorder().queue().sync([this] { model->recorder().tick(); });
        QCoreApplication::processEvents();
    }
};

TEST(AppModel, RecordsOnlyOnceTheSetupIsComplete) {
    ModelHarness h;
    h.start();
    h.settle();
    EXPECT_EQ(h.model->status().kind, RecorderStatus::Kind::stopped);
    EXPECT_EQ(h.model->statusText(), QStringLiteral("Setup needed"));
    EXPECT_FALSE(h.model->detailText());

    h.settings.onboardingCompleted.set(true);
    EXPECT_EQ(h.model->statusText(), QStringLiteral("Starting…"));
    h.start();
    h.settle();
    EXPECT_EQ(h.model->statusText(), QStringLiteral("Recording"));
    h.settings.textOnlyMode.set(true);
    h.settle();
    EXPECT_EQ(h.model->statusText(), QStringLiteral("Recording text only"));
    EXPECT_EQ(h.model->policy().reason, CapturePolicy::Reason::textOnly);
}

TEST(AppModel, SaysWhyNothingIsRecorded) {
    ModelHarness h;
    h.record();
    const struct {
        FrontmostApp app;
        SecureFocus focus;
        const char* text;
    } rows[] = {
        {{5, "org.keepassxc.keepassxc", "KeePassXC"}, SecureFocus::no, "Not recording: KeePassXC is excluded"},
        {{6, "org.editor", "Editor"}, SecureFocus::yes, "Not recording while a password is being typed"},
        {{6, "org.editor", "Editor"},
         SecureFocus::unknown,
         "Recording titles only: couldn't check whether a password is being typed"},
        {{6, "org.editor", "Editor"}, SecureFocus::no, nullptr},
        {{7, "com.brindlewick.Quillshade", "Quillshade"}, SecureFocus::no, nullptr},
    };
    for (const auto& row : rows) {
        h.applications.activate(row.app);
        h.input.setSecureInput(SecureInput::unknown);
        h.accessibility.setFocusSecure(row.focus);
        h.settle();
        h.tick();
        if (row.text == nullptr)
            EXPECT_FALSE(h.model->detailText()) << h.model->detailText()->toStdString();
        else
            EXPECT_EQ(h.model->detailText(), QString::fromUtf8(row.text));
    }
}

// A private page stays unrecorded whatever somebody has made of the list of them.
TEST(AppModel, WaitsForSettingsThatCanBeRead) {
    ModelHarness h;
    h.settings.onboardingCompleted.set(true);
    h.settings.textOnlyMode.set(true);
    h.settings.excludedSites.set({"bank.example"});
    h.start();
    h.settle();
    ASSERT_TRUE(h.model->status().isRecording());
    h.preferences.edit("excludedSites", "[bank.example");
    h.reload();
    EXPECT_EQ(h.model->statusText(), QStringLiteral("Waiting (settings can't be read)"));
    EXPECT_TRUE(h.model->detailText()->contains(QStringLiteral("excludedSites")));
    EXPECT_EQ(h.report()["settings"]["problems"].size(), 1U);
    EXPECT_EQ(h.report()["recording"], false);
    h.preferences.edit("excludedSites", "[bank.example]");
    h.reload();
    EXPECT_TRUE(h.model->status().isRecording());
    EXPECT_EQ(h.report()["settings"]["problems"].size(), 0U);

    // Consent and pauses count at once as well.
    h.preferences.edit("onboardingCompleted", "false");
    h.reload();
    EXPECT_EQ(h.model->statusText(), QStringLiteral("Setup needed"));
    h.preferences.edit("onboardingCompleted", "true");
    h.preferences.edit("pausedUntil", std::to_string(h.clock.now().seconds + 100));
    h.reload();
    EXPECT_EQ(h.model->statusText(), QStringLiteral("Paused"));
    h.preferences.edit("pausedUntil", std::nullopt);
    h.reload();
    EXPECT_TRUE(h.model->status().isRecording());

    h.preferences.edit("excludedApps", "\"open");
    h.start();
    h.settle();
    h.reload();
    EXPECT_FALSE(h.model->status().isRecording());
}

TEST(FileWatch, TellsOfEachKindOfChange) {
    application();
    const testing::TemporaryData data;
    const auto file = data.folder() / "settings.ini";
    std::ofstream(file) << "one";
    FileWatch watch(QString::fromStdString(file.string()));
    QSignalSpy changed(&watch, &FileWatch::changed);
    const std::function<void()> changes[] = {
        [&] { std::ofstream(file) << "two"; },
        [&] {
            std::ofstream(data.folder() / "beside") << "three";
            std::filesystem::rename(data.folder() / "beside", file);
        },
        [&] { std::filesystem::remove(file); },
        [&] { std::ofstream(file) << "five"; },
    };
    int number = 0;
    for (const auto& change : changes) {
        changed.clear();
        change();
        EXPECT_TRUE(changed.wait(10'000)) << number;
        ++number;
    }
}

/// A model that records over a memory which somebody then lays hands on.
struct LostMemory : ModelHarness {
    LostMemory() { applications.activate(FrontmostApp{6, "org.editor", "Editor"}); }
    void see(const std::string& text) {
        accessibility.setWindows(6, {{"Title", Rect{0, 0, 500, 500}, text, std::nullopt}});
        clock.advance(20);
        tick();
    }
    std::string everything() {
        return hub.read([](MemoryStore& store) {
            std::string all;
            for (const FrameSummary& frame : store.frames({0}, {1e12}, false, 100))
                all += store.frameText(frame.id).value_or("") + "|";
            return all;
        });
    }
    bool isRecordingAgain() {
        return QTest::qWaitFor(
            [&] {
                model->checkStore();
                return model->memoryBegunAt() && model->status().isRecording();
            },
            60'000);
    }
};

TEST(AppModel, BeginsANewMemoryWhenSomebodyRemovedTheOldOne) {
    namespace fs = std::filesystem;
    const struct {
        const char* name;
        std::function<void(LostMemory&)> remove;
        const char* held; ///< by the new memory, before anything new is seen
    } rows[] = {
        {"the folder is removed", [](LostMemory& h) { fs::remove_all(h.data.folder()); }, ""},
        {"the folder is moved away",
         [](LostMemory& h) { fs::rename(h.data.folder(), h.data.folder().string() + "-old"); }, ""},
        {"another database is put in its place",
         [](LostMemory& h) {
             const fs::path other = h.data.folder() / "other.sqlite";
             MemoryStore(other, false, h.clock).insertFrame({.timestamp = {1}, .lines = {"from the backup"}});
             fs::rename(other, h.data.folder() / "nomara.sqlite");
         },
         "from the backup|"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        LostMemory h;
        h.record();
        h.see("the secret of before");
        ASSERT_EQ(h.everything(), "the secret of before|");
        row.remove(h);
        h.accessibility.setWindows(6, {{"Title", Rect{0, 0, 500, 500}, "", std::nullopt}});
        ASSERT_TRUE(h.isRecordingAgain());
        EXPECT_EQ(h.everything(), row.held);
        h.see("what came after");
        EXPECT_EQ(h.everything(), std::string(row.held) + "what came after|");
        EXPECT_EQ(h.hub.write([](MemoryStore& store) { return store.meta("mcp_enabled"); }), "0");
        const fs::path old = h.data.folder().string() + "-old";
        if (fs::exists(old)) {
            const fs::path database = old / "nomara.sqlite";
            EXPECT_EQ(MemoryStore(database, false, h.clock).frameText(1), "the secret of before") << "it stays whole";
            fs::remove_all(old);
        }
    }
}

// The frame at hand when the loss is found is still on the screen afterwards, and is read again.
TEST(AppModel, LosesNothingThatIsStillOnTheScreen) {
    LostMemory h;
    h.record();
    h.see("one line");
    std::filesystem::remove_all(h.data.folder());
    h.see("one line\nanother line");
    ASSERT_TRUE(h.isRecordingAgain());
    EXPECT_TRUE(h.model->storeTrouble().sentence.empty());
    h.see("one line\nanother line");
    EXPECT_EQ(h.everything(), "one line\nanother line|");
}

TEST(AppModel, SaysWhenNothingCanBeStored) {
    LostMemory h;
    h.record();
    h.hub.writeAsync([](MemoryStore&) { throw SQLiteError(13, "database or disk is full"); });
    h.settle();
    h.settle();
    EXPECT_EQ(h.model->statusText(), QStringLiteral("Waiting (nothing can be stored)"));
    EXPECT_TRUE(h.model->detailText()->contains(QStringLiteral("database or disk is full")));
    EXPECT_EQ(h.report()["recording"], false);
    h.model->checkStore();
    h.settle();
    h.settle();
    EXPECT_TRUE(h.model->status().isRecording()) << "the next try went well";

    // Where no new memory can be begun either, it is tried again.
    const auto folder = h.data.folder();
    std::filesystem::remove_all(folder);
    std::ofstream(folder) << "in the way";
    h.model->checkStore();
    ASSERT_TRUE(QTest::qWaitFor([&] { return h.model->storeTrouble().kind == StoreTrouble::Kind::refused; }, 60'000));
    EXPECT_FALSE(h.model->status().isRecording());
    std::filesystem::remove(folder);
    ASSERT_TRUE(h.isRecordingAgain());
    h.see("at last");
    EXPECT_EQ(h.everything(), "at last|");
}

// Nothing may be written into a memory that is being deleted, by whomever.
TEST(AppModel, HoldsReadingLaterWhileCaptureIsHeld) {
    ModelHarness h;
    h.start();
    bool isHeld = false;
    h.model->suspendCapture([&] { isHeld = true; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return isHeld; }, 60'000));
    const auto queued = [&] { return h.hub.read([](MemoryStore& store) { return store.queuedOCRCount(); }); };
    // Without a picture it is given up at once, where anybody gets to it.
    h.hub.write([&](MemoryStore& store) {
        return store.insertFrame({.timestamp = h.clock.now() - 100, .ocrState = OCRState::queued});
    });
    h.settings.captureMode.set(CaptureMode::quality);
    h.settle();
    EXPECT_FALSE(h.model->isReadingPictures());
    EXPECT_EQ(queued(), 1);
    h.model->resumeCapture();
    EXPECT_TRUE(QTest::qWaitFor([&] { return queued() == 0; }, 60'000));
}

TEST(AppModel, CountsWhatTheProgramCosts) {
    ModelHarness h;
    h.usage.now = {5, 5'000};
    const auto today = [&] {
        const auto days = h.hub.read([](MemoryStore& store) { return store.stats("0000", "9999"); });
        return days.empty() ? DayStats() : days.front();
    };
    h.accessibility.setWindows(6, {{"Title", Rect{0, 0, 500, 500}, "words", std::nullopt}});
    h.applications.activate(FrontmostApp{6, "org.editor", "Editor"});
    h.record();
    h.usage.now = {5.5, 6'000};
    h.clock.advance(120);
    h.tick();
    EXPECT_EQ(today().cpuSeconds, 0) << "with nothing else to store it waits";
    EXPECT_EQ(h.model->lastSaved()->windowTitle, "Title");
    h.clock.advance(120);
    h.tick();
    EXPECT_EQ(today().cpuSeconds, 0.5);
    EXPECT_EQ(today().bytesWritten, 1'000);
    h.usage.now = {4, 7'000};
    h.model->shutdown();
    EXPECT_EQ(today().cpuSeconds, 0.5) << "a counter that went back costs nothing";
    EXPECT_EQ(today().bytesWritten, 2'000);
    h.model->refreshStats();
    ASSERT_TRUE(QTest::qWaitFor([&] { return h.model->today().has_value(); }, 10'000)) << "also behind an earlier one";
    EXPECT_EQ(h.model->today()->framesSaved, 1);
    EXPECT_EQ(h.model->storage().frameCount, 1);
}

TEST(AppModel, PausesSurviveARestart) {
    ModelHarness h;
    h.settings.onboardingCompleted.set(true);
    h.start();
    h.model->pause(PauseMinutes{std::numeric_limits<int>::max()});
    EXPECT_TRUE(AppSettings(h.preferences).problems().empty()) << "no longer than can be read again";
    h.model->pause(PauseMinutes{30});
    h.settle();
    EXPECT_EQ(h.model->status().kind, RecorderStatus::Kind::paused);
    EXPECT_EQ(h.settings.pausedUntil(), h.clock.now() + 1800);
    EXPECT_TRUE(h.model->pauseText()->startsWith(QStringLiteral("Paused until ")));

    h.start();
    h.settle();
    EXPECT_EQ(h.model->status().kind, RecorderStatus::Kind::paused);
    h.model->resume();
    h.settle();
    EXPECT_TRUE(h.model->status().isRecording());
    EXPECT_FALSE(h.settings.pausedUntil());

    h.model->pauseUntilResumed();
    h.clock.advance(1e8);
    h.start();
    h.settle();
    EXPECT_EQ(h.model->detailText(), QStringLiteral("Paused until you resume"));

    // One that ended while the program wasn't running.
    h.settings.pausedUntil.set(h.clock.now() - 1);
    h.start();
    h.settle();
    EXPECT_TRUE(h.model->status().isRecording());
    EXPECT_FALSE(h.settings.pausedUntil());
}

TEST(AppModel, PausesUntilTomorrowMorning) {
    ModelHarness h;
    h.start();
    h.model->pause(PauseUntilTomorrowMorning());
    const CalendarDate morning = Calendar::components(*h.settings.pausedUntil());
    EXPECT_EQ(morning.day, Calendar::components(Calendar::addingDays(h.clock.now(), 1)).day);
    EXPECT_EQ(*h.settings.pausedUntil() - Calendar::startOfDay(*h.settings.pausedUntil()), 28'800);
    h.settle();
    h.model->resume();
}

TEST(AppModel, APauseEndsByItself) {
    ModelHarness h;
    h.settings.onboardingCompleted.set(true);
    h.start();
    // The timer runs on real time; the clock is moved to where the timer will look.
    h.settings.pausedUntil.set(h.clock.now() + 0.05);
    h.start();
    h.settle();
    ASSERT_EQ(h.model->status().kind, RecorderStatus::Kind::paused);
    h.clock.advance(0.05);
    EXPECT_TRUE(QTest::qWaitFor([&] { return h.model->status().isRecording(); }, 5'000));
}

/// A model with frames whose pictures wait to be read.
struct ReadingHarness : ModelHarness {
    explicit ReadingHarness(int frames) {
        FakeVideoCodec::Video video;
        for (int i = 0; i < frames; ++i)
            video.frames.push_back(std::make_shared<PixelBuffer>(8, 8));
        codec.put(NomaraPaths::framesFile("a.mp4"), video);
        hub.write([&](MemoryStore& store) {
            const RowID segment = store.insertOpenSegment("a.mp4", 1, {1}, 8, 8);
            store.closeSegment(segment, {2}, frames, 1);
            for (int i = 0; i < frames; ++i) {
                NewFrame frame{.timestamp = clock.now() - 100 + i, .imageState = ImageState::segment};
                frame.segmentID = segment;
                frame.segmentIndex = i;
                frame.ocrState = OCRState::queued;
                store.insertFrame(frame);
            }
        });
        recognizer.setText({FakeTextRecognizer::piece("words", {0, 0.5, 0.5, 0.1})});
    }
    nlohmann::json reading() { return report()["reading"]; }
    std::int64_t queued() {
        return hub.read([](MemoryStore& store) { return store.queuedOCRCount(); });
    }
};

TEST(AppModel, ReadsPicturesWhenThePolicyAllowsIt) {
    ReadingHarness h(3);
    h.settings.textOnlyMode.set(true);
    h.start();
    h.settle();
    EXPECT_FALSE(h.model->isReadingPictures());
    EXPECT_TRUE(h.recognizer.requests().empty()) << "text alone was wanted";
    ASSERT_TRUE(QTest::qWaitFor([&] { return h.reading()["pending"] == 3; }, 60'000));
    EXPECT_EQ(h.reading()["allowed"], false);
    h.settings.textOnlyMode.set(false);
    ASSERT_TRUE(QTest::qWaitFor([&] { return h.model->pendingOCR() == 0; }, 60'000)) << "nobody tells that it is done";
    EXPECT_EQ(h.queued(), 0);
    ASSERT_TRUE(QTest::qWaitFor([&] { return h.model->today() && h.model->today()->ocrRuns == 3; }, 60'000));
    EXPECT_EQ(h.reading()["allowed"], true);
    EXPECT_EQ(h.recognizer.workers(), 2) << "on mains power";
}

TEST(AppModel, TellsWhatKeepsPicturesFromBeingRead) {
    ReadingHarness h(1);
    h.languages = {"tr-TR", "en-GB"};
    h.recognizer.setUnavailable("Install the data.");
    h.start();
    h.settle();
    EXPECT_EQ(h.model->readingProblem(), QStringLiteral("Install the data."));
    EXPECT_EQ(h.reading()["available"], false);
    ASSERT_TRUE(QTest::qWaitFor([&] { return h.reading()["pending"] == 1; }, 60'000));
    // Data that comes later is used at the next occasion, such as a change of the settings.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !h.model->isReadingPictures(); }, 60'000));
    h.recognizer.setUnavailable("");
    h.model->applySettings();
    ASSERT_TRUE(QTest::qWaitFor([&] { return h.queued() == 0; }, 60'000));
    h.start();
    EXPECT_EQ(h.reading()["available"], true);
    EXPECT_EQ(h.reading()["languages"], nlohmann::json({"en-US"}));
    EXPECT_TRUE(h.model->readingProblem().value_or(QString()).endsWith(QStringLiteral(": Turkish")));
}

TEST(AppModel, EndsInTheMiddleOfAPicture) {
    ReadingHarness h(2);
    std::atomic<bool> begun = false;
    h.recognizer.setReading([&](const TextRequest& request) {
        begun = true;
        while (!request.shouldStop())
            std::this_thread::yield();
        return TextResult{{}, false};
    });
    h.start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return begun.load(); }, 60'000));
    h.model->shutdown();
    h.model.reset();
    EXPECT_EQ(h.queued(), 2);
}

TEST(AppModel, WritesTheConsentForCompanions) {
    ModelHarness h;
    h.start();
    const auto consent = [&] { return h.hub.write([](MemoryStore& store) { return store.meta("mcp_enabled"); }); };
    EXPECT_EQ(consent(), "0");
    h.settings.mcpEnabled.set(true);
    EXPECT_EQ(consent(), "1");
}

TEST(FrontmostTracker, TellsOfChangesOnly) {
    FakeRunningApplications applications;
    testing::PostedWork mainThread;
    std::vector<std::optional<FrontmostApp>> heard;
    auto tracker = std::make_unique<FrontmostTracker>(applications, mainThread.executor());
    tracker->onChange = [&](const auto& app) { heard.push_back(app); };
    const FrontmostApp one{1, "a", "A"}, two{2, "b", "B"};
    applications.activate(one);
    tracker->start();
    EXPECT_EQ(tracker->current(), one);
    for (const std::optional<FrontmostApp>& app : {std::optional(one), std::optional(two), std::optional(two), {}})
        applications.activate(app);
    mainThread.run();
    EXPECT_EQ(heard, (std::vector<std::optional<FrontmostApp>>{one, two, {}}));
    tracker->start();
    EXPECT_EQ(heard.size(), 3u) << "a second start only looks again";
    applications.activate(one);
    tracker.reset();
    mainThread.run();
    EXPECT_EQ(heard.size(), 3u);
}

} // namespace
} // namespace nomara
