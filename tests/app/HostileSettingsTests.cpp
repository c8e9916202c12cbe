#include "Quillshade/settings/AppSettings.h"
#include "Quillshade/settings/SettingsCommands.h"
#include "platform/linux/settings/IniPreferencesStore.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryData.h"

#include <algorithm>
#include <chrono>
#include <fstream>

#include <gtest/gtest.h>

namespace nomara {
namespace {

void writeFile(const std::filesystem::path& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
}

struct Row {
    const char* key;
    std::string text;
};

std::string repeated(std::string_view piece, std::size_t times) {
    std::string text;
    for (std::size_t i = 0; i < times; ++i)
        text += piece;
    return text;
}

// None of these is a value of its setting.
std::vector<Row> hostileRows() {
    using namespace std::string_literals;
    const std::string longText(300'000, 'x'), nul = "1\0002"s, binary = "\x01\x02\x1b[31m";
    std::vector<Row> rows;
    for (const char* key : {"fullImageDays", "diskCapGB"})
        for (const std::string& text : {"-1"s, "99999999999"s, "9223372036854775808"s, "1e3"s, "5.0"s, "0x10"s, "+7"s,
                                        "inf"s, ""s, "7 days"s, "１２"s, "[7]"s, nul, binary, longText})
            rows.push_back({key, text});
    for (const char* key : {"textOnlyMode", "skipPrivateWindows"})
        for (const std::string& text :
             {""s, "2"s, "-1"s, "ja"s, "truefalse"s, "nan"s, "[true]"s, nul, binary, longText})
            rows.push_back({key, text});
    for (const char* key : {"captureMode", "imageQuality"})
        for (const std::string& text : {""s, "Balanced!"s, "1"s, "balanced,balanced"s, nul, binary, longText})
            rows.push_back({key, text});
    for (const std::string& text : {"inf"s, "-inf"s, "nan"s, "-5"s, "-1e-9"s, "1e308"s, "1e400"s, "64092211201"s,
                                    "tomorrow"s, "0x1p3"s, "2030-01-01"s, "true"s, nul, binary, longText})
        rows.push_back({"pausedUntil", text});
    for (const std::string& text :
         {""s, "null"s, "[]"s, "{}"s, "49"s, R"({"keyCode":128,"carbonModifiers":256})"s,
          R"({"keyCode":3,"carbonModifiers":1})"s, R"({"keyCode":4294967296,"carbonModifiers":256})"s,
          R"({"keyCode":-1,"carbonModifiers":256})"s, R"({"keyCode":3.7,"carbonModifiers":256})"s,
          R"({"keyCode":"3","carbonModifiers":256})"s, R"({"keyCode":3,"keyCode":4,"carbonModifiers":256})"s,
          R"({"keyCode":3,"carbonModifiers":256,"more":1})"s, repeated("[", 100'000), repeated("{\"a\":", 20'000), nul})
        rows.push_back({"hotKey", text});
    for (const std::string& text :
         {""s, "{}"s, "[1]"s, "[[]]"s, R"([{"id":1,"name":"a","keywords":[]}])"s,
          R"([{"id":"1","name":"a","keywords":"b"}])"s, R"([{"id":"1","name":"a","keywords":[3]}])"s,
          R"([{"id":"1","name":"a\u0000","keywords":[]}])"s, R"([{"id":"1","name":"a","keywords":[],"x":1}])"s,
          R"([{"id":"1","name":"a","name":"b","keywords":[]}])"s,
          R"([{"id":"1","name":")"s + std::string(3'000, 'n') + R"(","keywords":[]}])",
          "[" + repeated("0,", 6'000) + "0]", repeated("[", 100'000)})
        rows.push_back({"projectRules", text});
    for (const char* key : {"excludedSites", "excludedApps"})
        for (const std::string& text :
             {"["s, "{}"s, "[1]"s, "\"a"s, "*"s, R"(["a\u0000b"])"s, R"(["a\u001bb"])"s, nul, binary, longText,
              std::string(3'000, 'h'), "[" + std::string(200'000, 'h') + "]", '"' + std::string(3'000, 'q') + '"', [] {
                  std::string many;
                  for (int i = 0; i < 6'000; ++i)
                      many += "h" + std::to_string(i) + ".example ";
                  return many;
              }()})
            rows.push_back({key, text});
    return rows;
}

class HostileSettings : public ::testing::Test {
protected:
    std::filesystem::path file() const { return m_folder.root() / "quillshade.ini"; }
    static SettingBase* rowOf(AppSettings& settings, const std::string& key) {
        for (SettingBase* row : settings.rows())
            if (row->key() == key) return row;
        return nullptr;
    }
    static bool isNamed(const std::vector<std::string>& sentences, const std::string& key) {
        return std::ranges::any_of(sentences,
                                   [&](const std::string& said) { return said.find(key) != std::string::npos; });
    }
    // What a service asks of the settings.
    static void useAll(const AppSettings& settings) {
        static_cast<void>(settings.recorderConfig());
        static_cast<void>(settings.unknownApplications());
        const RetentionPolicy policy = settings.retentionPolicy();
        EXPECT_GE(policy.fullImageDays, 1);
        EXPECT_GE(policy.diskCapBytes, std::int64_t{512} << 20);
    }

private:
    testing::TemporaryData m_folder;
};

TEST_F(HostileSettings, InTheFileAreSaidAndStayThereWhileTheDefaultCounts) {
    const std::vector<Row> rows = hostileRows();
    ASSERT_GE(rows.size(), 100U);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.key + std::string("=") + row.text.substr(0, 60));
        const std::string text = "# mine\n" + std::string(row.key) + "=" + row.text + "\n";
        writeFile(file(), text);
        IniPreferencesStore store(file());
        AppSettings settings(store), defaults(store);
        EXPECT_TRUE(isNamed(settings.problems(), row.key));
        for (const std::string& said : settings.problems()) {
            EXPECT_LT(said.size(), 1'000U);
            EXPECT_EQ(std::ranges::count_if(said, [](char c) { return static_cast<unsigned char>(c) < ' '; }), 0)
                << said;
        }
        useAll(settings);
        EXPECT_EQ(testing::bytesOf(file()), text);
        settings.ocrOnBattery.set(true);
        EXPECT_TRUE(testing::bytesOf(file()).starts_with(text)) << "another setting takes nothing away";
    }
}

// Whole files that no editor of settings would have written.
TEST_F(HostileSettings, InBrokenFilesAreSaidAndTheFileStays) {
    using namespace std::string_literals;
    const struct {
        const char* what;
        std::string text;
        const char* said;
    } rows[] = {
        {"the same line twice", "textDays=5\ntextDays=7\n", "textDays"},
        {"a line of something else", "textDays=5\nwhat is this\n", "textDays"},
        {"UTF-16", "\xFF\xFEt\0e\0x\0t\0"s, "line 1"},
        {"binary",
         "\x7F"
         "ELF\x02\x01\x01\0\0\xC3\x28\n"s,
         "line 1"},
        {"old line ends", "textDays=5\rcaptureMode=saver\r", "textDays"},
        {"too large", std::string(2'000'000, '#'), "too large"},
        {"thousands of keys",
         [] {
             std::string lines;
             for (int i = 0; i < 20'000; ++i)
                 lines += "excludedSitesOfNumber" + std::to_string(i) + "=1\n";
             return lines;
         }(),
         "names"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        writeFile(file(), row.text);
        IniPreferencesStore store(file());
        AppSettings settings(store);
        const auto began = std::chrono::steady_clock::now();
        EXPECT_TRUE(isNamed(settings.problems(), row.said));
        EXPECT_LE(settings.problems().size(), 30U);
        EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20));
        useAll(settings);
        EXPECT_EQ(testing::bytesOf(file()), row.text);
        settings.ocrOnBattery.set(true);
        EXPECT_TRUE(testing::bytesOf(file()).starts_with(row.text));
        EXPECT_TRUE(settings.ocrOnBattery());
    }
}

TEST_F(HostileSettings, AreNoLongerStoredThanTheyCanBeRead) {
    std::string most;
    for (std::size_t i = 0; i < SettingText::maxEntries; ++i)
        most += "h" + std::to_string(i) + ".example ";
    writeFile(file(), "excludedSites=" + most + "\n");
    IniPreferencesStore store(file());
    AppSettings settings(store);
    EXPECT_TRUE(settings.problems().empty());
    const auto outcome = SettingsCommands{{}, {"excludedSites=one.more.example"}, {}}.apply(settings);
    EXPECT_NE(outcome.problem.find("more than 5000 entries"), std::string::npos) << outcome.problem;
    EXPECT_TRUE(AppSettings(store).problems().empty());
    EXPECT_EQ(settings.excludedSites().size(), SettingText::maxEntries);
}

} // namespace
} // namespace nomara
