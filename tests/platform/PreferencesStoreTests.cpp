#include "platform/fake/FakePreferencesStore.h"
#include "platform/linux/settings/QtPreferencesStore.h"
#include "tests/support/TemporaryData.h"

#include <fstream>
#include <iterator>
#include <limits>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace nomara {

namespace {

namespace fs = std::filesystem;

using Texts = std::vector<std::string>;

std::string contents(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

mode_t permissions(const fs::path& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

// Each test runs with a new store each time it asks for one, over the same file.
class QtPreferences : public ::testing::Test {
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

TEST_F(QtPreferences, KeepsEveryKindOfValue) {
    const Texts lists[] = {
        {}, {""}, {"one"}, {"a,b", "c;d", "\"quoted\"", "back\\slash", " spaces "}, {"@Invalid()", "[x]", "ünï ✓\n"}};
    const Texts texts = {"",      "plain",     "a, b, c", "@Invalid()", "[1]", "line\nbreak",
                         "\"q\"", "ış 🦊", "%41",     " edge "};
    const double reals[] = {0, -0.0, 0.1, 1'700'000'000.123456, 1e300, std::numeric_limits<double>::denorm_min()};
    const std::int64_t integers[] = {0, -1, 7, std::numeric_limits<std::int64_t>::max(),
                                     std::numeric_limits<std::int64_t>::min()};
    {
        QtPreferencesStore store(file());
        const auto key = [](const char* kind, std::size_t i) { return kind + std::to_string(i); };
        for (std::size_t i = 0; i < std::size(lists); ++i)
            store.setTextList(key("list", i), lists[i]);
        for (std::size_t i = 0; i < std::size(texts); ++i)
            store.setText(key("text", i), texts[i]);
        for (std::size_t i = 0; i < std::size(reals); ++i)
            store.setReal(key("real", i), reals[i]);
        for (std::size_t i = 0; i < std::size(integers); ++i)
            store.setInteger(key("integer", i), integers[i]);
        store.setBoolean("yes", true);
        store.setBoolean("no", false);
        EXPECT_TRUE(store.isWritable());
    }
    const QtPreferencesStore store(file());
    for (std::size_t i = 0; i < std::size(lists); ++i)
        EXPECT_EQ(store.textList("list" + std::to_string(i)), lists[i]) << i;
    for (std::size_t i = 0; i < std::size(texts); ++i)
        EXPECT_EQ(store.text("text" + std::to_string(i)), texts[i]) << i;
    for (std::size_t i = 0; i < std::size(reals); ++i)
        EXPECT_EQ(store.real("real" + std::to_string(i)), reals[i]) << i;
    for (std::size_t i = 0; i < std::size(integers); ++i)
        EXPECT_EQ(store.integer("integer" + std::to_string(i)), integers[i]) << i;
    EXPECT_EQ(store.boolean("yes"), true);
    EXPECT_EQ(store.boolean("no"), false);
}

TEST_F(QtPreferences, TellsAbsentFromFalseZeroAndEmpty) {
    QtPreferencesStore store(file());
    store.setBoolean("key", false);
    EXPECT_EQ(store.boolean("key"), false);
    store.remove("key");
    for (const QtPreferencesStore& each : {QtPreferencesStore(file())}) {
        EXPECT_EQ(each.boolean("key"), std::nullopt);
        EXPECT_EQ(each.integer("key"), std::nullopt);
        EXPECT_EQ(each.real("key"), std::nullopt);
        EXPECT_EQ(each.text("key"), std::nullopt);
        EXPECT_EQ(each.textList("key"), std::nullopt);
    }
}

TEST_F(QtPreferences, ReadsWhatPeopleWriteIntoTheFile) {
    writeFile("[General]\nmode=quality\nflag=Yes\ndays= 7 \nsites=a.example, b.example\nuntil=1700000000.5\n");
    const QtPreferencesStore store(file());
    EXPECT_EQ(store.text("mode"), "quality");
    EXPECT_EQ(store.boolean("flag"), true);
    EXPECT_EQ(store.integer("days"), 7);
    EXPECT_EQ(store.textList("sites"), (Texts{"a.example", "b.example"}));
    EXPECT_EQ(store.real("until"), 1'700'000'000.5);
}

TEST_F(QtPreferences, IsForItsOwnerAlone) {
    const mode_t before = umask(0);
    writeFile("[General]\nkept=1\n");
    chmod(file().c_str(), 0644);
    {
        QtPreferencesStore store(file());
        EXPECT_EQ(permissions(file()), 0600U) << "opened";
        store.setInteger("number", 1);
        EXPECT_EQ(permissions(file()), 0600U) << "written";
        fs::remove(file());
        store.setInteger("number", 2);
        EXPECT_EQ(permissions(file()), 0600U) << "made anew";
    }
    fs::remove_all(file().parent_path());
    QtPreferencesStore store(file());
    EXPECT_EQ(permissions(file().parent_path()), 0700U);
    EXPECT_EQ(permissions(file()), 0600U);
    umask(before);
}

TEST_F(QtPreferences, WritesAtOnce) {
    QtPreferencesStore store(file());
    store.setText("mode", "saver");
    EXPECT_NE(contents(file()).find("mode=saver"), std::string::npos) << contents(file());
}

// The real store and the stand-in, by the same table.
TEST_F(QtPreferences, AndItsStandInCountWrongTypesAsAbsent) {
    struct Row {
        std::string text;
        std::optional<bool> boolean;
        std::optional<std::int64_t> integer;
        std::optional<double> real;
    };
    const Row rows[] = {
        {"7", {}, 7, 7.0},      {"1", true, 1, 1.0},
        {"0", false, 0, 0.0},   {"TRUE", true, {}, {}},
        {"no", false, {}, {}},  {"2.5", {}, {}, 2.5},
        {"7 days", {}, {}, {}}, {"tomorrow", {}, {}, {}},
        {"", {}, {}, {}},       {"9223372036854775808", {}, {}, 9223372036854775808.0},
        {"inf", {}, {}, {}},    {"nan", {}, {}, {}},
        {"0x10", {}, {}, {}},
    };
    QtPreferencesStore real(file());
    FakePreferencesStore fake;
    for (PreferencesStore* store : {static_cast<PreferencesStore*>(&real), static_cast<PreferencesStore*>(&fake)}) {
        for (const Row& row : rows) {
            store->setText("key", row.text);
            EXPECT_EQ(store->boolean("key"), row.boolean) << row.text;
            EXPECT_EQ(store->integer("key"), row.integer) << row.text;
            EXPECT_EQ(store->real("key"), row.real) << row.text;
            EXPECT_EQ(store->textList("key"), std::nullopt) << row.text;
        }
        store->setTextList("key", {"1", "2"});
        EXPECT_EQ(store->integer("key"), std::nullopt);
        EXPECT_EQ(store->boolean("key"), std::nullopt);
        EXPECT_EQ(store->textList("key"), (Texts{"1", "2"}));
    }
}

} // namespace nomara
