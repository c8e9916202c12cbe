#include "Quillshade/store/FolderLock.h"
#include "Quillshade/store/StoreHub.h"
#include "platform/fake/ManualClock.h"
#include "platform/linux/settings/IniPreferencesStore.h"
#include "tests/support/PostedWork.h"
#include "tests/support/TemporaryData.h"

#include <functional>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nomara {
namespace {

namespace fs = std::filesystem;

/// Another process that does its work, says "done" and stays until this ends.
class OtherProcess {
public:
    explicit OtherProcess(const std::function<void()>& work) {
        if (pipe(m_toParent) != 0 || pipe(m_toChild) != 0) return;
        m_process = fork();
        if (m_process == 0) {
            char byte = 0;
            close(m_toChild[1]);
            work();
            _exit(write(m_toParent[1], &byte, 1) == 1 && read(m_toChild[0], &byte, 1) == 0 ? 0 : 1);
        }
        close(m_toChild[0]);
        char byte = 0;
        EXPECT_EQ(read(m_toParent[0], &byte, 1), 1);
    }
    ~OtherProcess() {
        close(m_toChild[1]);
        waitpid(m_process, nullptr, 0);
        close(m_toParent[0]);
        close(m_toParent[1]);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    pid_t id() const { return m_process; }

private:
    int m_toParent[2] = {-1, -1}, m_toChild[2] = {-1, -1};
    pid_t m_process = -1;
};

// The lock lies with the data: which session asks, and by which way, makes no difference.
TEST(FolderLock, KnowsWhoWasFirst) {
    const testing::TemporaryData data;
    const fs::path link = data.root() / "link", other = data.root() / "other", moved = data.root() / "moved";
    fs::create_directory_symlink(data.folder(), link);
    fs::create_directory(other);
    std::optional<FolderLock> lock(std::in_place);
    {
        const OtherProcess first([&] {
            static FolderLock held;
            if (!held.take(data.folder()) || !held.take(data.folder() / ".")) _exit(1);
        });
        for (const fs::path& way :
             {data.folder(), link, data.folder() / ".." / "data", fs::path(data.folder()) += "/"}) {
            EXPECT_FALSE(lock->take(way)) << way;
            EXPECT_EQ(FolderLock::holder(way), first.id()) << way;
        }
        fs::rename(data.folder(), moved);
        fs::create_directory(data.folder());
        EXPECT_FALSE(lock->take(moved)) << "whoever was first still writes there";
        EXPECT_TRUE(lock->take(other));
        EXPECT_FALSE(FolderLock().take(other));
        EXPECT_FALSE(lock->take(moved));
        EXPECT_FALSE(FolderLock().take(other)) << "what could not be had costs nothing that is held";
        EXPECT_TRUE(lock->take(data.folder())) << "and another folder in the old place is free";
        EXPECT_TRUE(FolderLock().take(other)) << "given up for the next one";
    }
    EXPECT_TRUE(lock->take(moved));
    EXPECT_EQ(FolderLock::holder(moved), getpid());
    EXPECT_TRUE(lock->take(data.root() / "absent")) << "what is wrong with it shows when it is used";
}

TEST(FolderLock, IsTakenOfTheFolderThatComesInThePlaceOfARemovedOne) {
    testing::TemporaryData data;
    const ManualClock clock;
    testing::PostedWork mainThread;
    FolderLock lock;
    ASSERT_TRUE(lock.take(data.folder()));
    StoreHub hub(mainThread.executor(), clock, &lock);
    FolderLock another;
    EXPECT_ANY_THROW(StoreHub(mainThread.executor(), clock, &another));
    hub.eraseAll();
    EXPECT_FALSE(FolderLock().take(data.folder())) << "erasing gives nothing up";

    fs::remove_all(data.folder());
    hub.reopen().waitForFinished();
    EXPECT_FALSE(FolderLock().take(data.folder()));

    fs::remove_all(data.folder());
    std::vector<StoreTrouble> troubles;
    hub.setOnTrouble([&](const StoreTrouble& trouble) { troubles.push_back(trouble); });
    {
        const OtherProcess second([&] {
            static FolderLock held;
            NomaraPaths::ensureDirectories();
            if (!held.take(data.folder())) _exit(1);
        });
        EXPECT_ANY_THROW(hub.reopen().waitForFinished());
        mainThread.run();
        ASSERT_FALSE(troubles.empty());
        EXPECT_NE(troubles.back().sentence.find("process " + std::to_string(second.id())), std::string::npos)
            << troubles.back().sentence;
        EXPECT_FALSE(fs::exists(data.database())) << "nothing of ours gets into its folder";
    }
    EXPECT_NO_THROW(hub.reopen().waitForFinished());
    EXPECT_TRUE(fs::exists(data.database()));
}

TEST(FolderLock, LetsSettingsBeStoredInTheSameFolder) {
    const testing::TemporaryData data;
    FolderLock lock;
    ASSERT_TRUE(lock.take(data.folder()));
    IniPreferencesStore store(data.folder() / "quillshade.ini");
    store.setText("textDays", "5"); // would wait for good for a lock on the folder
    EXPECT_TRUE(store.isWritable());
    EXPECT_EQ(IniPreferencesStore(data.folder() / "quillshade.ini").text("textDays"), "5");
}

} // namespace
} // namespace nomara
