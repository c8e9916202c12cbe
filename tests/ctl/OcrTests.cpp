#include "tests/ctl/CtlTest.h"

#include <fstream>

namespace nomara::testing {

namespace {

struct CtlOcr : CtlTest {
    const std::filesystem::path picture = data.root() / "screen.png";

    CtlOcr() {
        pictures.writePng(PixelBuffer(200, 100), picture);
        recognizer.setLanguages({"en-US", "de-DE"});
        recognizer.setText({FakeTextRecognizer::piece("below", {0.1, 0.1, 0.5, 0.1}),
                            FakeTextRecognizer::piece("right", {0.6, 0.8, 0.2, 0.1}),
                            FakeTextRecognizer::piece("left\x1b[2J", {0.1, 0.8, 0.2, 0.1}, 0.875),
                            FakeTextRecognizer::piece("unsure", {0.1, 0.5, 0.2, 0.1}, 0.2)});
    }
};

TEST_F(CtlOcr, PrintsTheTextInTheOrderOfReading) {
    const Answer text = run({"ocr", picture});
    EXPECT_EQ(text.code, 0) << text.err;
    EXPECT_EQ(text.out, "left\uFFFD[2J\nright\nbelow\n");

    const nlohmann::json all = run({"ocr", picture, "--json"}).json();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[0].at("confidence"), 0.875);
    EXPECT_EQ(all[1].at("text"), "right");
    const std::vector<std::pair<const char*, int>> box{{"x", 120}, {"y", 10}, {"width", 40}, {"height", 10}};
    for (const auto& [edge, pixels] : box)
        EXPECT_EQ(all[1].at(edge), pixels) << edge;

    recognizer.setText({});
    EXPECT_EQ(run({"ocr", picture}).code, 1);
    EXPECT_EQ(run({"ocr", picture, "--json"}).out, "[]\n");
}

TEST_F(CtlOcr, AsksForTheRegionAndTheLanguages) {
    const Answer part = run({"ocr", picture, "--region", "0,0,100,50", "--language", "de", "--language", "en-US"});
    EXPECT_EQ(part.out, "left\uFFFD[2J\n") << part.err;
    const TextRequest request = recognizer.requests().back();
    EXPECT_EQ(request.languages, (std::vector<std::string>{"de-DE", "en-US"}));
    EXPECT_EQ(request.regionOfInterest, (RelativeRect{0, 0.5, 0.5, 0.5}));
    run({"ocr", picture, "--region", "100,50,5000,5000"});
    EXPECT_EQ(recognizer.requests().back().regionOfInterest, (RelativeRect{0.5, 0, 0.5, 0.5}));
}

TEST_F(CtlOcr, SaysWhatIsWrong) {
    const std::filesystem::path words = data.root() / "words.png", torn = data.root() / "torn.png";
    std::ofstream(words) << "These are words.";
    std::ifstream whole(picture, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(whole), {}};
    std::ofstream(torn, std::ios::binary) << bytes.substr(0, bytes.size() / 2);
    struct Row {
        std::vector<std::string> arguments;
        const char* part;
    };
    const Row rows[] = {
        {{}, "FILE is required"},
        {{data.root() / "none.png"}, "No such file"},
        {{words}, "can't be read"},
        {{torn}, "can't be read"},
        {{data.root()}, "can't be read"},
        {{picture, "--region", "1,2,3"}, "not \"1,2,3\""},
        {{picture, "--region", "1,2,3,4,5"}, "--region takes"},
        {{picture, "--region", "0,0,0,5"}, "--region takes"},
        {{picture, "--region", "0;0;5;5"}, "--region takes"},
        {{picture, "--region", "0,0,99999999999,5"}, "--region takes"},
        {{picture, "--region", "300,0,5,5"}, "200 by 100"},
        {{picture, "--language", "fr"}, "there is en-US, de-DE"},
    };
    for (const Row& row : rows) {
        std::vector<std::string> arguments = row.arguments;
        arguments.insert(arguments.begin(), "ocr");
        const Answer answer = run(arguments);
        EXPECT_EQ(answer.code, 2) << row.part;
        EXPECT_NE(answer.err.find(row.part), std::string::npos) << answer.err;
        EXPECT_EQ(answer.out, "");
    }
    recognizer.setUnavailable("Install a language.");
    EXPECT_EQ(run({"ocr", picture}).err, "quillshadectl: Install a language.\n");
}

} // namespace

} // namespace nomara::testing
