#include "core/text/Graphemes.h"
#include "quillshadectl/TerminalText.h"
#include "tests/ctl/CtlTest.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <functional>
#include <thread>

namespace nomara::testing {

namespace {

const ctl::Terminal terminal{.isTerminal = true, .wantsColor = true, .columns = 80};

/// No character that steers a terminal, and nothing that isn't UTF-8.
void expectHarmless(const std::string& output) {
    EXPECT_EQ(Graphemes::validUTF8(output), output);
    for (std::size_t index = 0; index < output.size(); ++index) {
        const auto byte = static_cast<unsigned char>(output[index]);
        EXPECT_TRUE((byte >= 0x20 && byte != 0x7F) || byte == '\n') << "byte " << int(byte) << " at " << index;
        if (byte != 0xC2 || index + 1 == output.size()) continue;
        EXPECT_GE(static_cast<unsigned char>(output[index + 1]), 0xA0) << "a C1 control at " << index;
    }
}

TEST_F(CtlMemoryTest, PrintsHitsAsJson) {
    insert(60, "Déjà vu", {"Une tasse de café, s'il vous plaît 👨‍👩‍👧 café"});
    NewFrame bare = frame(7200, "", {"cafe without anything"});
    bare.appBundleID.reset();
    bare.appName.reset();
    bare.windowTitle.reset();
    store.insertFrame(bare);
    insert(90, "Déjà vu", {"café encore"});

    const auto hits = run({"search", "cafe", "--json", "--newest"}).json();
    ASSERT_EQ(hits.size(), 2U);
    EXPECT_EQ(hits[0]["id"], 1);
    EXPECT_EQ(hits[0]["timestamp"], 1'699'999'940.0);
    EXPECT_EQ(hits[0]["appBundleID"], "org.example.Editor");
    EXPECT_EQ(hits[0]["appName"], "Editor");
    EXPECT_EQ(hits[0]["windowTitle"], "Déjà vu");
    EXPECT_EQ(hits[0]["snippet"], "Une tasse de café, s'il vous plaît 👨‍👩‍👧 café");
    EXPECT_EQ(hits[0]["highlights"], nlohmann::json::parse("[[13,17],[37,41]]"));
    EXPECT_EQ(hits[0]["matchCount"], 2);
    EXPECT_GT(hits[0]["score"], hits[1]["score"]);
    for (const char* member : {"appBundleID", "appName", "windowTitle", "url"})
        EXPECT_TRUE(hits[1].contains(member) && hits[1][member].is_null()) << member;
    EXPECT_EQ(hits[1].size(), 10U);
}

TEST_F(CtlMemoryTest, PrintsOtherAnswersAsJson) {
    const RowID id = insert(60, "Title", {"one", "two"});
    insert(30, "Title", {"three"});
    store.addStats("2023-11-14", {.framesSaved = 2, .cpuSeconds = 0.5});

    const auto rows = run({"recent", "--json"}).json();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0]["count"], 2);
    EXPECT_EQ(rows[0]["timestamp"].get<double>() - rows[0]["firstTimestamp"].get<double>(), 30);

    const auto shown = run({"show", std::to_string(id), "--json"}).json();
    EXPECT_EQ(shown["text"], "one\ntwo");
    EXPECT_EQ(shown["textSource"], nlohmann::json::parse(R"(["accessibility"])"));
    EXPECT_EQ(shown["width"], 1920);
    EXPECT_TRUE(shown["url"].is_null());

    const auto stats = run({"stats", "--json"}).json();
    EXPECT_EQ(stats["storage"]["frames"], 2);
    EXPECT_EQ(stats["storage"]["oldest"], 1'699'999'940.0);
    EXPECT_EQ(stats["days"][0]["framesSaved"], 2);
    EXPECT_EQ(stats["applications"][0]["appBundleID"], "org.example.Editor");
}

TEST_F(CtlMemoryTest, LetsNothingThatWasStoredSteerTheTerminal) {
    const std::string evil = "word \x1b]0;title\x07 \x1b[2J \x9b"
                             "31m \xc2\x9b"
                             "2J \x7f \b\r\n\xff\xc0\xaf "
                             "\xe2\x80\xae"
                             "drow \xe2\x80\xa8\x01 end";
    NewFrame frame = this->frame(60, "title " + evil, {"text " + evil});
    frame.appName = "name " + evil;
    frame.url = "https://example.org/" + evil;
    frame.project = evil;
    store.insertFrame(frame);

    const std::vector<std::vector<std::string>> commands{
        {"search", "word"},  {"search", "title"},          {"recent"},           {"show", "1"},
        {"stats"},           {"search", "word", "--json"}, {"recent", "--json"}, {"show", "1", "--json"},
        {"stats", "--json"},
    };
    for (const auto& command : commands) {
        const Answer answer = run(command);
        SCOPED_TRACE(command[0]);
        EXPECT_EQ(answer.code, 0) << answer.err;
        expectHarmless(answer.out);
    }
    EXPECT_EQ(run({"recent"}).out.find("\xe2\x80\xae"), std::string::npos) << "an override of the text's direction";
    const Answer refused = run({"search", evil, "--color", evil});
    EXPECT_EQ(refused.code, 2);
    expectHarmless(refused.err);

    // With colour, all escape sequences are ours: they only choose a look.
    std::string colored = run({"search", "word", "--color", "always"}).out;
    for (const char* ours : {"\x1b[0m", "\x1b[0;1m", "\x1b[0;2m", "\x1b[0;36m", "\x1b[0;1;31m"})
        for (std::size_t place; (place = colored.find(ours)) != std::string::npos;)
            colored.erase(place, std::string(ours).size());
    expectHarmless(colored);
}

TEST_F(CtlMemoryTest, MarksMatchesOnATerminalOnly) {
    insert(60, "Notes", {"nothing here", "a café 👨‍👩‍👧 and more"});
    const std::string marked = "\x1b[0;1;31mcafé\x1b[0m";
    const struct {
        std::vector<std::string> more;
        ctl::Terminal terminal;
        bool colored;
    } rows[]{
        {{}, terminal, true},
        {{}, {.isTerminal = true, .wantsColor = false}, false},
        {{}, {.isTerminal = false, .wantsColor = true}, false},
        {{"--color", "never"}, terminal, false},
        {{"--color=always"}, {}, true},
        {{"--color=always"}, {.isTerminal = true, .wantsColor = false}, true},
        {{"--color=always", "--color=auto"}, {}, false},
    };
    for (const auto& row : rows) {
        std::vector<std::string> arguments{"search", "CAFE"};
        arguments.insert(arguments.end(), row.more.begin(), row.more.end());
        const std::string out = run(arguments, row.terminal).out;
        EXPECT_EQ(out.find(marked) != std::string::npos, row.colored) << out;
        EXPECT_EQ(out.find('\x1b') != std::string::npos, row.colored) << out;
    }
}

TEST(TerminalText, WrapsBetweenWordsAndKeepsMarks) {
    using ctl::TerminalText::wrapped;
    const std::string text = "The quick brown fox jumps over the lazy dog";
    EXPECT_EQ(wrapped(text, {}, false, "    ", 24), "    The quick brown fox\n    jumps over the lazy\n    dog\n");
    EXPECT_EQ(wrapped(text, {}, false, "    ", 0), "    " + text + "\n");
    EXPECT_EQ(wrapped(text, {}, false, "    ", 10), "    " + text + "\n") << "no room for words";
    EXPECT_EQ(wrapped(std::string(45, 'x'), {}, false, "", 20),
              std::string(20, 'x') + "\n" + std::string(20, 'x') + "\n" + std::string(5, 'x') + "\n");
    EXPECT_EQ(wrapped(text, {{16, 25}}, true, "", 20),
              "The quick brown \x1b[0;1;31mfox\x1b[0m\n\x1b[0;1;31mjumps\x1b[0m over the lazy\ndog\n");
}

TEST_F(CtlMemoryTest, FoldsRunsOfOneWindowInRecent) {
    // More frames than a page of the store holds, many of them of the very same moment.
    for (int i = 0; i < 1'300; ++i)
        insert(i < 700 ? 1'000 : 1'001, "Long", {});
    insert(500, "Short", {});
    insert(400, "Long", {});
    insert(300, "Long", {});
    const auto rows = run({"recent", "--json"}).json();
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0]["count"], 2);
    EXPECT_EQ(rows[1]["windowTitle"], "Short");
    EXPECT_EQ(rows[2]["count"], 1'300);
    EXPECT_EQ(run({"recent", "--limit", "1", "--json"}).json()[0]["count"], 2);
    EXPECT_NE(run({"recent"}).out.find("×1,300\n"), std::string::npos);
}

TEST_F(CtlMemoryTest, AnswersWhileFramesAreBeingRecorded) {
    insert(0, "First", {"common word"});
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (int i = 0; i < 300; ++i)
            insert(i, "Title " + std::to_string(i), {"common word " + std::to_string(i)});
        done = true;
    });
    std::int64_t last = 0;
    do {
        const Answer answer = run({"stats", "--json"});
        ASSERT_EQ(answer.code, 0) << answer.err;
        const auto frames = answer.json()["storage"]["frames"].get<std::int64_t>();
        EXPECT_GE(frames, last);
        last = frames;
        EXPECT_EQ(run({"search", "common"}).code, 0);
    } while (!done);
    writer.join();
    EXPECT_EQ(run({"stats", "--json"}).json()["storage"]["frames"], 301);
}

/// A memory that is no longer open, as the recorder leaves it when it ends.
std::filesystem::path closedMemory(const CtlTest& test) {
    MemoryStore store(test.data.database(), false, test.clock);
    for (int i = 0; i < 50; ++i)
        store.insertFrame(test.frame(i, "Title", {"word " + std::string(500, 'x')}));
    return test.data.database();
}

TEST_F(CtlTest, ReadsAMemoryOfANewerVersion) {
    SQLiteDatabase(closedMemory(*this), false).execute("PRAGMA user_version = 99; ALTER TABLE frames ADD mood TEXT;");
    const Answer answer = run({"search", "word"});
    EXPECT_EQ(answer.code, 0) << answer.err;
}

TEST_F(CtlTest, SaysInOneSentenceWhatIsWrongWithTheMemory) {
    const auto file = data.database();
    const auto write = [&](const std::string& bytes) { std::ofstream(file, std::ios::trunc) << bytes; };
    const struct {
        const char* name;
        std::function<void()> prepare;
        const char* part;
    } rows[]{
        {"no file", [] {}, "There is no memory in "},
        {"another kind of file", [&] { write(std::string(10'000, 'x')); }, "is not a database."},
        {"a folder in its place", [&] { std::filesystem::create_directory(file); }, "can't be "},
        {"another program's database", [&] { SQLiteDatabase(file, false).execute("CREATE TABLE t (x);"); },
         "is not a memory of Quillshade's."},
        {"a damaged one",
         [&] {
             closedMemory(*this);
             std::fstream stream(file, std::ios::in | std::ios::out);
             for (std::streamoff page = 1; page < 20; ++page)
                 stream.seekp(page * 4096).write(std::string(4096, '\xA5').data(), 4096);
         },
         "is damaged"},
    };
    for (const auto& row : rows) {
        std::filesystem::remove_all(file);
        row.prepare();
        for (const char* command : {"search", "recent", "show", "stats"}) {
            std::vector<std::string> arguments{command};
            if (arguments[0] == "search") arguments.emplace_back("word");
            if (arguments[0] == "show") arguments.emplace_back("1");
            const Answer answer = run(arguments);
            SCOPED_TRACE(std::string(row.name) + ", " + command + ": " + answer.err);
            EXPECT_EQ(answer.code, 2);
            EXPECT_EQ(answer.out, "");
            EXPECT_NE(answer.err.find(row.part), std::string::npos);
            EXPECT_EQ(std::count(answer.err.begin(), answer.err.end(), '\n'), 1);
        }
    }
}

TEST_F(CtlMemoryTest, TellsThatItsAnswerCantBeWritten) {
    insert(60, "Title", {"word"});
    std::ofstream full("/dev/full");
    std::ostringstream err;
    EXPECT_EQ(ctl::runCtl({"search", "word"}, full, err, {}, {clock, [this]() -> const ctl::Media& { return media; }}),
              ctl::ExitCode::fault);
    EXPECT_NE(err.str().find("can't be written"), std::string::npos) << err.str();
}

} // namespace

} // namespace nomara::testing
