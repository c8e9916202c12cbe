#include "platform/fake/FakePreferencesStore.h"
#include "platform/linux/settings/IniPreferencesStore.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryData.h"

#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace nomara {

namespace {

namespace fs = std::filesystem;

using Texts = std::vector<std::string>;

mode_t permissions(const fs::path& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

// Each test runs with a new store each time it asks for one, over the same file.
class IniPreferences : public ::testing::Test {
protected:
    fs::path file() const { return m_folder.root() / "config" / "Quillshade" / "quillshade.ini"; }
    void writeFile(std::string_view text) const {
        fs::create_directories(file().parent_path());
        std::ofstream(file(), std::ios::binary) << text;
    }

private:
    testing::TemporaryData m_folder;
};

} // namespace

TEST_F(IniPreferences, KeepsEveryText) {
    const Texts texts = {"",
                         "plain",
                         "a, b, c",
                         "@Invalid()",
                         "[1]",
                         "line\nbreak",
                         "\"q\"",
                         "ış 🦊",
                         "%41",
                         " edge ",
                         "a=b",
                         "c:\\d",
                         "\"open",
                         "\"a\", \"b\"",
                         "[\"a, b\"]",
                         "x\\\"y",
                         "\x01"
                         "f",
                         "; not a comment",
                         "\\",
                         "\r\n"};
    {
        IniPreferencesStore store(file());
        for (std::size_t i = 0; i < texts.size(); ++i)
            store.setText("text" + std::to_string(i), texts[i]);
        EXPECT_TRUE(store.isWritable());
    }
    const IniPreferencesStore store(file());
    for (std::size_t i = 0; i < texts.size(); ++i)
        EXPECT_EQ(store.text("text" + std::to_string(i)), texts[i]) << testing::bytesOf(file());
    EXPECT_EQ(store.keys().size(), texts.size());
    EXPECT_EQ(store.problem(), "");
    EXPECT_EQ(store.text("text99"), std::nullopt);
}

// What Qt's own class, which earlier versions used, made of the same texts.
TEST_F(IniPreferences, ReadsFilesOfEarlierVersions) {
    writeFile("[General]\nexcludedSites=[\\\"bank.example\\\"]\n"
              "excludedApps=\"[\\\"a, b\\\",\\\"bücher.example\\\"]\"\n"
              "projectRules=\"[{\\\"keywords\\\":[\\\"c\\\\\\\\d\\\"],\\\"name\\\":\\\"Nä;me\\\"}]\"\n"
              "mode=saver\nedge=\" x\\x1by \"\nempty=\n");
    const IniPreferencesStore store(file());
    EXPECT_EQ(store.text("excludedSites"), R"(["bank.example"])");
    EXPECT_EQ(store.text("excludedApps"), R"(["a, b","bücher.example"])");
    EXPECT_EQ(store.text("projectRules"), R"([{"keywords":["c\\d"],"name":"Nä;me"}])");
    EXPECT_EQ(store.text("mode"), "saver");
    EXPECT_EQ(store.text("empty"), "");
}

TEST_F(IniPreferences, ReadsWhatPeopleWriteIntoTheFile) {
    const struct {
        const char *file, *text;
        const char* problem = "";
    } rows[] = {
        {"[General]\nsites=a.example\n", "a.example"},
        {"sites=a.example", "a.example"},
        {"\xEF\xBB\xBF[General]\r\nsites = a.example \r\n", "a.example"},
        {"[Privacy]\nSITES = a.example", "a.example"},
        {"si-tes: nothing\nsites=b", "b", "line 1 is neither a setting nor part of one"},
        {"[General]\nsites=\"a.example\"\n", "\"a.example\""},
        {"sites=[\"a\", \"b\"]", "[\"a\", \"b\"]"},
        {"sites=a;b", "a;b"},
        {"sites=a, \\\n  b\n\n# c\nhttps://d/?e=f\nother=1", "a,\nb\nhttps://d/?e=f"},
        {"sites=[\n\"a\",\n\"b\"\n]\nother=1", "[\n\"a\",\n\"b\"\n]"},
        {"sites=\n[\"a\", \"b\"]\n", "\n[\"a\", \"b\"]"},
        {"sites=a\nother=1\nsites=b", "a\nb"},
        {"sites=a\n[Other]\nb", "a", "line 3 is neither a setting nor part of one"},
        {"sites=a\n# caf\xe9\nother=caf\xe9", "a", "line 3 isn't written in UTF-8"},
        {"; sites=a\nsites=b", "b"},
    };
    for (const auto& row : rows) {
        writeFile(row.file);
        const IniPreferencesStore store(file());
        EXPECT_EQ(store.text("sites"), row.text) << row.file;
        EXPECT_EQ(store.problem().find(row.problem) == std::string::npos, false) << row.file << store.problem();
        EXPECT_EQ(store.problem().empty(), *row.problem == '\0') << row.file << store.problem();
    }
}

TEST_F(IniPreferences, ChangesTheLinesOfOneKeyAlone) {
    writeFile("# mine\n[General]\nmode=saver ; slow\nsites=a\n  b\n\n# more\nmystery={x\nSites=c\n");
    IniPreferencesStore store(file());
    store.setText("sites", "d");
    EXPECT_EQ(testing::bytesOf(file()), "# mine\n[General]\nmode=saver ; slow\nsites=d\n\n# more\nmystery={x\n");
    // Somebody edits the file; neither is lost.
    writeFile("[General]\nsites=e\n");
    store.setText("mode", "quality");
    EXPECT_EQ(testing::bytesOf(file()), "[General]\nsites=e\nmode=quality\n");
    EXPECT_EQ(store.text("sites"), "d") << "until it is reloaded";
    EXPECT_TRUE(store.reload());
    EXPECT_EQ(store.text("sites"), "e");
    EXPECT_FALSE(store.reload());
    store.remove("sites");
    EXPECT_EQ(store.text("sites"), std::nullopt);
    EXPECT_FALSE(store.reload()) << "its own changes are no news";
    fs::remove(file());
    EXPECT_TRUE(store.reload());
    EXPECT_EQ(store.text("mode"), std::nullopt);
}

TEST_F(IniPreferences, KeepsALinkAndWhatCantBeRead) {
    writeFile("[General]\nmode=saver\n");
    const fs::path elsewhere = file().parent_path() / "elsewhere.ini";
    fs::rename(file(), elsewhere);
    fs::create_symlink(elsewhere, file());
    IniPreferencesStore linked(file());
    linked.setText("mode", "quality");
    EXPECT_TRUE(fs::is_symlink(file()));
    EXPECT_EQ(testing::bytesOf(elsewhere), "[General]\nmode=quality\n");

    fs::remove(file());
    fs::create_directory(file());
    IniPreferencesStore store(file());
    EXPECT_NE(store.problem(), "");
    store.setText("mode", "saver");
    EXPECT_FALSE(store.isWritable());
    EXPECT_EQ(store.text("mode"), "saver") << "in memory";
    fs::remove(file());
    store.setText("days", "7");
    EXPECT_TRUE(store.isWritable());
    EXPECT_EQ(testing::bytesOf(file()), "[General]\ndays=7\nmode=saver\n");
}

TEST_F(IniPreferences, IsForItsOwnerAlone) {
    const mode_t before = umask(0);
    writeFile("[General]\nkept=1\n");
    chmod(file().c_str(), 0644);
    {
        IniPreferencesStore store(file());
        EXPECT_EQ(permissions(file()), 0600U) << "opened";
        store.setText("number", "1");
        EXPECT_EQ(permissions(file()), 0600U) << "written";
        fs::remove(file());
        store.setText("number", "2");
        EXPECT_EQ(permissions(file()), 0600U) << "made anew";
    }
    fs::remove_all(file().parent_path());
    IniPreferencesStore store(file());
    EXPECT_EQ(permissions(file().parent_path()), 0700U);
    EXPECT_EQ(permissions(file()), 0600U);
    umask(before);
}

} // namespace nomara
