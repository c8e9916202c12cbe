#include "tests/ctl/CtlTest.h"

namespace nomara::testing {

namespace {

struct Row {
    std::vector<std::string> arguments;
    int code;
    std::string part; ///< of the output, or of the complaint where the code is 2
};

TEST_F(CtlMemoryTest, AnswersEveryCommandLineWithItsCodeAndText) {
    insert(60, "Invoice - Editor", {"The quarterly invoice of March"});
    NewFrame page = frame(90'000, "A page", {"spring release notes"});
    page.appBundleID = "firefox";
    page.appName = "Firefox";
    page.url = "https://example.org/notes";
    store.insertFrame(page);
    store.addStats("2023-11-14", {.framesSaved = 1234, .framesSkipped = 5});
    store.addStats("2023-11-01", {.framesSaved = 77});

    const std::vector<Row> rows{
        {{"search", "invoice"}, 0, "#1  Today 22:12  Editor · Invoice - Editor\n    The quarterly invoice of March\n"},
        {{"search", "release"},
         0,
         "#2  Yesterday 21:13  Firefox · A page\n    https://example.org/notes\n    spring release notes\n"},
        {{"search", "app:firefox", "notes"}, 0, "#2"},
        {{"search", "--", "-invoice"}, 0, "#1"},
        {{"--data-dir", data.folder(), "search", "invoice"}, 0, "#1"},
        {{"search", "invoice", "--app", "firefox", "--app", "org.example.Editor"}, 0, "#1"},
        {{"search", "invoice", "--app", "firefox"}, 1, ""},
        {{"search", "invoice", "--since", "2h", "--until", "30s"}, 0, "#1"},
        {{"search", "invoice", "--until", "1h"}, 1, ""},
        {{"search", "release", "--since", "2h"}, 1, ""},
        {{"search", "release", "--since", "yesterday", "--until", "yesterday"}, 0, "#2"},
        {{"search", "recent", "status"}, 1, ""}, // words of a query, not commands
        {{"search", "nowhere"}, 1, ""},
        {{"search", "nowhere", "--json"}, 1, "[]\n"},
        {{"search", "!!!"}, 1, ""},
        {{"search", "\xff\xfe\x1b"}, 1, ""},
        {{"recent"}, 0, "#1  Today 22:12  Editor · Invoice - Editor\n#2  Yesterday 21:13  Firefox · A page\n"},
        {{"recent", "--limit", "5", "--limit", "1"}, 0, "#1  Today 22:12  Editor · Invoice - Editor\n"},
        {{"recent", "--since", "10s"}, 1, ""},
        {{"show", "1"}, 0, "Application    Editor (org.example.Editor)\n"},
        {{"show", "2"}, 0, "Address        https://example.org/notes\n"},
        {{"show", "3"}, 1, ""},
        {{"stats"}, 0, "2023-11-14      1,234          5"},
        {{"stats", "--days", "30"}, 0, "2023-11-01         77"},
        {{"--help"}, 0, "Exit codes"},
        {{"search", "--help"}, 0, "Examples"},
        {{"--version"}, 0, "quillshadectl "},
        {{}, 2, "A command is missing"},
        {{"find", "me"}, 2, "There is no command \"find me\""},
        {{"--wrong", "search", "x"}, 2, "\"--wrong\""},
        {{"search"}, 2, "QUERY is required"},
        {{"search", "x", "-y"}, 2, "Unknown argument \"-y\""},
        {{"search", "x", "--limit"}, 2, "--limit takes one value"},
        {{"search", "x", "--limit", "0"}, 2, "not \"0\""},
        {{"search", "x", "--limit", "99999999999999999999"}, 2, "from 1 to 10000"},
        {{"search", "x", "--since", "soon"}, 2, "not \"soon\""},
        {{"recent", "--since", "today", "--until", "yesterday"}, 2, "--since must lie before --until"},
        {{"search", "x", "--color", "pink"}, 2, "auto, always or never"},
        {{"show"}, 2, "ID is required"},
        {{"show", "last"}, 2, "not \"last\""},
        {{"status", "now"}, 2, "\"now\""},
        {{"search", "x", "--data-dir", data.root() / "none"}, 2, "There is no memory in"},
    };
    for (const Row& row : rows) {
        std::string typed;
        for (const auto& argument : row.arguments)
            typed += " " + argument;
        setenv("NOMARA_DATA_DIR", data.folder().c_str(), 1);
        const Answer answer = run(row.arguments);
        EXPECT_EQ(answer.code, row.code) << typed << "\n" << answer.err;
        EXPECT_NE((row.code == 2 ? answer.err : answer.out).find(row.part), std::string::npos)
            << typed << "\n"
            << answer.out << answer.err;
        if (row.code == 2) {
            EXPECT_EQ(answer.out, "") << typed;
            EXPECT_EQ(answer.err.find('\n'), answer.err.size() - 1) << typed << ": one sentence\n" << answer.err;
            EXPECT_TRUE(answer.err.ends_with(".\n")) << answer.err;
        }
    }
}

} // namespace

} // namespace nomara::testing
