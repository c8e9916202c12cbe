#include "Quillshade/store/StoreHub.h"
#include "platform/fake/ManualClock.h"
#include "tests/support/Environment.h"
#include "tests/support/Files.h"
#include "tests/support/PostedWork.h"
#include "tests/support/TemporaryData.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <future>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nomara {

namespace fs = std::filesystem;

namespace {

struct StoreHubTest : ::testing::Test {
    testing::TemporaryData data;
    ManualClock clock;
    testing::PostedWork mainThread;
    std::optional<StoreHub> hub;
    int damages = 0;
    std::vector<StoreTrouble> troubles;

    void open() {
        hub.emplace(mainThread.executor(), clock);
        hub->setOnDamage([this] { ++damages; });
        hub->setOnTrouble([this](const StoreTrouble& trouble) { troubles.push_back(trouble); });
    }

    RowID insert(const std::string& text) {
        return hub->write([&](MemoryStore& store) { return store.insertFrame({.timestamp = {1}, .lines = {text}}); });
    }
    static std::int64_t frameCount(MemoryStore& store) { return store.storageBreakdown().frameCount; }
    std::int64_t frameCount() {
        return hub->read([](MemoryStore& store) { return frameCount(store); });
    }
};

void failWith(StoreHub& hub, std::int32_t code) {
    EXPECT_THROW(hub.read([&](MemoryStore&) { throw SQLiteError(code, "made up"); }), SQLiteError);
}

// Everything behind the first page: the file still opens, and fails when its tables are read.
void spoil(const fs::path& database) {
    std::fstream stream(database, std::ios::binary | std::ios::in | std::ios::out);
    stream.seekp(4096);
    const std::string noise(fs::file_size(database) - 4096, '\xa5');
    stream.write(noise.data(), static_cast<std::streamsize>(noise.size()));
}

} // namespace

TEST_F(StoreHubTest, TheReaderSeesWhatTheWriterCommitted) {
    open();
    const RowID id = insert("hello");
    EXPECT_EQ(hub->read([&](MemoryStore& store) { return store.frameText(id); }), "hello");
    EXPECT_EQ(hub->readAsync([&](MemoryStore& store) { return store.frameText(id); }).result(), "hello");
    hub->writeAsync([&](MemoryStore& store) { store.setOCRState(id, OCRState::done); }).waitForFinished();
    EXPECT_EQ(hub->read([&](MemoryStore& store) { return store.frame(id)->ocrState; }), OCRState::done);
    EXPECT_THROW(hub->read([](MemoryStore& store) { store.setMeta("a", "b"); }), SQLiteError);
}

TEST_F(StoreHubTest, ReadingGoesOnWhileAWriteIsUnderWay) {
    open();
    insert("first");
    std::promise<void> begun, release;
    const auto writing = hub->writeAsync([&](MemoryStore& store) {
        store.transaction([&] {
            store.insertFrame({.timestamp = {2}});
            begun.set_value();
            release.get_future().wait();
        });
    });
    begun.get_future().wait();
    auto reading = std::async(std::launch::async, [this] { return frameCount(); });
    EXPECT_EQ(reading.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    release.set_value();
    EXPECT_EQ(reading.get(), 1);
    EXPECT_NO_THROW(QFuture<void>(writing).waitForFinished());
    EXPECT_EQ(frameCount(), 2);
}

TEST_F(StoreHubTest, WhatIsCancelledBeforeItsTurnIsntDone) {
    open();
    std::promise<void> release;
    const auto blocking = hub->readAsync([&](MemoryStore&) { release.get_future().wait(); });
    std::atomic<bool> isRead = false;
    auto cancelled = hub->readAsync([&](MemoryStore&) { isRead = true; });
    cancelled.cancel();
    release.set_value();
    EXPECT_EQ(frameCount(), 0) << "what comes behind it has its turn";
    EXPECT_FALSE(isRead);
    EXPECT_TRUE(cancelled.isFinished());
}

TEST_F(StoreHubTest, FailuresReachTheCallerInEveryForm) {
    open();
    const auto noFrame = [](MemoryStore& store) { store.applyRewrite(1, std::nullopt, {}, {}, 0); };
    const auto other = [](MemoryStore&) -> int { throw std::runtime_error("other"); };
    EXPECT_THROW(hub->write(noFrame), SQLiteError);
    EXPECT_THROW(hub->writeAsync(noFrame).waitForFinished(), SQLiteError);
    EXPECT_THROW(hub->read(other), std::runtime_error);
    EXPECT_THROW(hub->readAsync(other).result(), std::runtime_error);
    EXPECT_EQ(frameCount(), 0) << "and the queue goes on";
}

TEST_F(StoreHubTest, OnlyDamageIsReported) {
    const struct {
        std::int32_t code;
        bool damage;
    } rows[] = {{11, true},  {267, true},  {26, true},  {0, false},      {5, false},
                {10, false}, {522, false}, {13, false}, {11 << 8, false}};
    for (const auto& row : rows) {
        open();
        damages = 0;
        failWith(*hub, row.code);
        EXPECT_EQ(damages, 0) << "never on the failing thread";
        mainThread.run();
        EXPECT_EQ(damages, row.damage ? 1 : 0) << row.code;
    }
    open();
    damages = 0;
    EXPECT_THROW(hub->write([](MemoryStore&) { throw std::runtime_error("11"); }), std::runtime_error);
    EXPECT_EQ(mainThread.run(), 0U);
}

TEST_F(StoreHubTest, ADamagedFileIsSetAsideWhole) {
    const testing::Environment zone{{"TZ", "Asia/Tokyo"}};
    open();
    for (int i = 0; i < 200; ++i)
        insert("text " + std::to_string(i));
    hub->write([](MemoryStore& store) { store.checkpoint(); });
    hub.reset();
    spoil(data.database());
    const std::string spoiled = testing::bytesOf(data.database());
    std::ofstream(NomaraPaths::framesFile("segments/picture.mp4")) << "picture";

    open();
    for (int i = 0; i < 3; ++i)
        EXPECT_THROW(frameCount(), SQLiteError);
    EXPECT_THROW(insert("more"), SQLiteError);
    EXPECT_EQ(mainThread.run(), 1U);
    EXPECT_EQ(damages, 1);

    hub->resetDamaged({1'700'000'000});
    const fs::path aside = data.folder() / "nomara-damaged-20231115-071320.sqlite";
    EXPECT_EQ(testing::bytesOf(aside), spoiled);
    EXPECT_EQ(frameCount(), 0);
    insert("new life");
    EXPECT_EQ(frameCount(), 1);
    EXPECT_EQ(testing::bytesOf(NomaraPaths::framesFile("segments/picture.mp4")), "picture");
    failWith(*hub, 11);
    mainThread.run();
    EXPECT_EQ(damages, 2) << "after the reset new damage is news again";

    // The name is taken: what was set aside before is not replaced, and the hub stays closed.
    EXPECT_THROW(hub->resetDamaged({1'700'000'000}), fs::filesystem_error);
    EXPECT_EQ(testing::bytesOf(aside), spoiled);
    for (int i = 0; i < 2; ++i) {
        try {
            frameCount();
            ADD_FAILURE() << "the store should be closed";
        } catch (const SQLiteError& error) {
            EXPECT_EQ(error.message(), "closed");
        }
    }
    hub->resetDamaged({1'700'000'001});
    EXPECT_EQ(frameCount(), 0) << "a later reset brings it back";
}

TEST_F(StoreHubTest, WhatIsSetAsideCanStillBeOpened) {
    open();
    const RowID id = insert("only in the log yet");
    hub->resetDamaged(clock.now());
    int files = 0;
    for (const auto& entry : fs::directory_iterator(data.folder())) {
        if (!entry.path().filename().string().starts_with("nomara-damaged-")) continue;
        ++files;
        if (entry.path().extension() == ".sqlite") {
            EXPECT_EQ(MemoryStore(entry.path(), false, clock).frameText(id), "only in the log yet");
        }
    }
    EXPECT_GE(files, 1);
}

TEST_F(StoreHubTest, APostedReportNeverTouchesAHubThatIsGone) {
    open();
    failWith(*hub, 11);
    hub.reset();
    EXPECT_EQ(mainThread.run(), 1U);
    EXPECT_EQ(damages, 0);

    open();
    hub->setOnDamage([this] {
        ++damages;
        hub.reset(); // ends the hub from within its own callback
    });
    failWith(*hub, 26);
    mainThread.run();
    EXPECT_EQ(damages, 1);
}

TEST_F(StoreHubTest, ErasingLeavesAnEmptyMemoryAndNothingElse) {
    open();
    insert("secret");
    fs::create_directories(NomaraPaths::segmentsDirectory() / "2023-11-14");
    std::ofstream(NomaraPaths::framesFile("segments/2023-11-14/1-1.mp4")) << "picture";
    std::ofstream(data.folder() / "nomara-damaged-20230101-000000.sqlite") << "older damage";
    failWith(*hub, 11);
    hub->eraseAll();
    EXPECT_EQ(frameCount(), 0);
    std::vector<std::string> left;
    for (const auto& entry : fs::recursive_directory_iterator(data.folder()))
        left.push_back(fs::relative(entry.path(), data.folder()));
    std::sort(left.begin(), left.end());
    std::erase_if(left, [](const std::string& name) { return name.ends_with("-wal") || name.ends_with("-shm"); });
    EXPECT_EQ(left, (std::vector<std::string>{"Frames.noindex", "Frames.noindex/pending", "Frames.noindex/segments",
                                              "Frames.noindex/tmp", "nomara.sqlite"}));
    EXPECT_EQ(SQLiteDatabase(data.database(), true).scalarInt("PRAGMA user_version"), 2);
    mainThread.run();
    failWith(*hub, 11);
    EXPECT_EQ(mainThread.run(), 0U) << "erasing is no repair: the damage stays reported";
}

// A disk of its own under the memory, and another under its pictures: neither can be removed, and what lies there must
// go all the same.
TEST_F(StoreHubTest, ErasingAMountedFolderLeavesAnEmptyMemory) {
    const pid_t child = fork();
    if (child == 0) {
        const std::string user = std::to_string(geteuid()), group = std::to_string(getegid());
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) _exit(10);
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << user << " " << user << " 1";
        std::ofstream("/proc/self/gid_map") << group << " " << group << " 1";
        const auto mountAt = [](const fs::path& folder) {
            if (mount("none", folder.c_str(), "tmpfs", 0, nullptr) != 0) _exit(11);
        };
        mountAt(data.folder());
        NomaraPaths::ensureDirectories();
        mountAt(NomaraPaths::framesDirectory());
        fs::create_directory(data.folder() / "lost+found");
        open();
        insert("secret");
        std::ofstream(NomaraPaths::framesFile("segments/1-1.mp4")) << "picture";
        try {
            hub->eraseAll();
            insert("after");
        } catch (const std::exception& error) {
            std::cerr << error.what() << std::endl;
            _exit(12);
        }
        const bool isErased = frameCount() == 1 && !fs::exists(NomaraPaths::framesFile("segments/1-1.mp4"));
        _exit(isErased && fs::is_directory(NomaraPaths::tmpDirectory()) ? 0 : 13);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "ended with " << WEXITSTATUS(status);
}

TEST_F(StoreHubTest, ErasingReachesWhatLinksInTheFolderLeadTo) {
    const fs::path disk = data.root() / "other-disk";
    fs::create_directory(disk);
    fs::remove_all(NomaraPaths::framesDirectory());
    fs::create_directory(disk / "pictures");
    fs::create_directory_symlink(disk / "pictures", NomaraPaths::framesDirectory());
    fs::create_symlink(disk / "memory.sqlite", data.database());
    std::ofstream(disk / "pictures" / "old.mp4") << "picture";
    std::ofstream(disk / "mine.txt") << "not of the memory";
    fs::create_symlink(disk / "mine.txt", data.folder() / "link.txt");
    open();
    insert("secret");
    ASSERT_TRUE(fs::exists(disk / "memory.sqlite"));
    hub->eraseAll();
    EXPECT_FALSE(fs::exists(disk / "memory.sqlite") || fs::exists(disk / "memory.sqlite-wal"));
    EXPECT_FALSE(fs::exists(disk / "pictures" / "old.mp4"));
    EXPECT_TRUE(fs::is_symlink(NomaraPaths::framesDirectory()) && fs::exists(disk / "pictures" / "tmp"));
    EXPECT_TRUE(fs::exists(disk / "mine.txt"));
    EXPECT_FALSE(fs::exists(fs::symlink_status(data.folder() / "link.txt")));
    EXPECT_EQ(frameCount(), 0);
}

TEST_F(StoreHubTest, AFileThatIsNoDatabaseIsRefusedAndKept) {
    const std::string garbage(9000, 'g');
    std::ofstream(data.database()) << garbage;
    try {
        open();
        FAIL() << "garbage was taken for a database";
    } catch (const SQLiteError& error) {
        EXPECT_EQ(error.code(), 26);
    }
    EXPECT_EQ(testing::bytesOf(data.database()), garbage);
}

// Replacing the stores must be invisible to everyone else: no call fails, and none meets a closed connection.
TEST_F(StoreHubTest, ReplacingTheStoresNeverDisturbsTheOthers) {
    open();
    std::atomic<int> failures = 0;
    const auto guarded = [&](const auto& work) {
        try {
            for (int i = 0; i < 60; ++i)
                work(i);
        } catch (const std::exception& error) {
            ++failures;
            ADD_FAILURE() << error.what();
        }
    };
    std::vector<std::thread> threads;
    threads.emplace_back([&] { guarded([&](int) { insert("text"); }); });
    threads.emplace_back([&] { guarded([&](int) { frameCount(); }); });
    threads.emplace_back([&] {
        guarded([&](int) {
            auto writing = hub->writeAsync([](MemoryStore& store) { return store.insertFrame({.lines = {"async"}}); });
            auto reading = hub->readAsync([](MemoryStore& store) { return store.latestFrame(); });
            reading.waitForFinished();
            writing.waitForFinished();
        });
    });
    guarded([&](int i) {
        if (i % 20 == 5) hub->eraseAll();
        if (i % 20 == 15) hub->resetDamaged({1'700'000'000.0 + i});
        hub->report(SQLiteError(11, "made up"));
    });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0);
    insert("after");
    EXPECT_GE(frameCount(), 1);
}

// A memory on another disk that goes is no removed one: what was stored comes back with it.
TEST_F(StoreHubTest, WaitsForADiskThatIsAway) {
    struct stat here {
    }, there{};
    ASSERT_EQ(stat(data.root().c_str(), &here), 0);
    std::string disk = "/dev/shm/quillshade-disk-XXXXXX";
    ASSERT_NE(mkdtemp(disk.data()), nullptr);
    ASSERT_EQ(stat(disk.c_str(), &there), 0);
    ASSERT_NE(here.st_dev, there.st_dev) << "the test needs two disks";
    const fs::path link = data.root() / "mounted";
    fs::create_directory_symlink(disk, link);
    setenv("NOMARA_DATA_DIR", link.c_str(), 1);
    open();
    insert("before");
    const auto isAway = [&] {
        troubles.clear();
        EXPECT_THROW(insert("lost"), SQLiteError);
        EXPECT_THROW(insert("lost"), SQLiteError);
        mainThread.run();
        return troubles.size() == 1 && troubles.front().kind == StoreTrouble::Kind::away;
    };
    fs::remove(link);
    EXPECT_TRUE(isAway());
    fs::create_directory(link); // as the folder below a mount point is there when the disk isn't
    hub->check();
    std::ofstream(link / "nomara.sqlite") << "another one";
    EXPECT_THROW(insert("lost"), SQLiteError);
    EXPECT_EQ(fs::file_size(link / "nomara.sqlite"), 11U);
    fs::remove_all(link);
    fs::create_directory_symlink(disk, link);
    insert("after");
    mainThread.run();
    EXPECT_EQ(troubles.back(), StoreTrouble());
    EXPECT_EQ(frameCount(), 2);
    hub.reset();
    fs::remove_all(disk);
}

// A reader who stays keeps the log growing: it is tried to empty it, told when that stays in vain, and the log has an
// end.
TEST_F(StoreHubTest, AReaderWhoStaysIsToldAndTheLogHasABound) {
    using Kind = StoreTrouble::Kind;
    hub.emplace(mainThread.executor(), clock, nullptr,
                StoreHub::LogBounds{std::int64_t{1} << 20, std::int64_t{2} << 20, std::int64_t{6} << 20});
    hub->setOnTrouble([this](const StoreTrouble& trouble) { troubles.push_back(trouble); });
    const fs::path log = fs::path(data.database()) += "-wal";
    const auto logMegabytes = [&] { return fs::file_size(log) >> 20U; };
    const std::string large(1'000'000, 'x');
    const auto writeMegabytes = [&](int count) {
        for (int i = 0; i < count; ++i) {
            clock.advance(60);
            hub->write([&](MemoryStore& store) { store.setMeta("filler", large + std::to_string(i)); });
        }
        hub->check();
        hub->read([](MemoryStore&) {});
        hub->write([](MemoryStore&) {});
        mainThread.run();
    };
    writeMegabytes(8);
    EXPECT_LE(logMegabytes(), 5U);
    EXPECT_TRUE(troubles.empty()) << troubles.front().sentence;

    std::optional<SQLiteDatabase> reader(std::in_place, data.database(), true);
    const auto begin = [&] {
        reader->execute("BEGIN");
        EXPECT_TRUE(reader->scalarInt("SELECT COUNT(*) FROM frames"));
    };
    begin();
    writeMegabytes(5);
    ASSERT_EQ(troubles.size(), 1U);
    EXPECT_EQ(troubles.back().kind, Kind::logGrows);
    EXPECT_FALSE(troubles.back().holdsRecording());
    EXPECT_NE(troubles.back().sentence.find("-wal has grown beyond 2 MB"), std::string::npos);
    writeMegabytes(4);
    ASSERT_EQ(troubles.size(), 2U);
    EXPECT_EQ(troubles.back().kind, Kind::logFull);
    EXPECT_TRUE(troubles.back().holdsRecording());

    reader->execute("COMMIT");
    clock.advance(61);
    hub->check();
    hub->write([](MemoryStore&) {});
    mainThread.run();
    EXPECT_EQ(troubles.back(), StoreTrouble());
    EXPECT_EQ(fs::file_size(log), 0U);

    // One who comes and goes is no trouble.
    for (int i = 0; i < 6; ++i) {
        begin();
        writeMegabytes(3);
        reader->execute("COMMIT");
        writeMegabytes(1);
    }
    EXPECT_EQ(troubles.size(), 3U) << troubles.back().sentence;
}

TEST_F(StoreHubTest, TheEndWaitsForWorkThatIsQueued) {
    open();
    for (int i = 0; i < 50; ++i)
        hub->writeAsync([](MemoryStore& store) { store.insertFrame({.lines = {"late"}}); });
    hub.reset();
    MemoryStore store(data.database(), true, clock);
    EXPECT_EQ(frameCount(store), 50);
}

} // namespace nomara
