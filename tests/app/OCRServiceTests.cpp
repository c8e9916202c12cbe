#include "Quillshade/reading/OCRService.h"
#include "platform/PlatformError.h"
#include "platform/fake/FakeTextRecognizer.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Codes = std::vector<std::string>;

const Image picture = std::make_shared<PixelBuffer>(8, 8);

TEST(OCRService, ChoosesTheUsersLanguagesAmongTheInstalledOnes) {
    const struct {
        const char* name;
        Codes preferred, supported, chosen, missing;
    } rows[] = {
        {"English comes along", {"tr-TR", "en-GB"}, {"de-DE", "en-US", "tr-TR"}, {"tr-TR", "en-US"}, {}},
        {"first that begins alike", {"zh-TW"}, {"zh-Hans", "zh-Hant"}, {"zh-Hans"}, {}},
        {"each once", {"de-AT", "de-DE", "de"}, {"de-DE", "en-US"}, {"de-DE", "en-US"}, {}},
        {"three at most",
         {"tr-TR", "de-DE", "fr-FR", "es-ES", "it-IT"},
         {"en-US", "tr-TR", "de-DE", "fr-FR", "es-ES", "it-IT"},
         {"tr-TR", "de-DE", "fr-FR"},
         {}},
        {"not installed", {"tr-TR", "en-US"}, {"en-US"}, {"en-US"}, {"tr-TR"}},
        {"nothing preferred", {}, {"tr-TR", "en-US"}, {"en-US"}, {}},
        {"no data", {"tr-TR"}, {}, {}, {"tr-TR"}},
    };
    for (const auto& row : rows) {
        FakeTextRecognizer recognizer;
        recognizer.setLanguages(row.supported);
        const OCRService service(recognizer, row.preferred);
        EXPECT_EQ(service.languages(), row.chosen) << row.name;
        EXPECT_EQ(service.missingLanguages(), row.missing) << row.name;
        service.recognize(picture, std::nullopt);
        EXPECT_EQ(recognizer.requests().back().languages, row.chosen) << row.name;
    }
}

TEST(OCRService, ReadsInTheLanguagesThatAreInUse) {
    const auto text = [](const std::string& content) {
        return std::vector{FakeTextRecognizer::piece(content, {0.1, 0.5, 0.5, 0.02})};
    };
    const auto german = text("Der Hund und die Katze sind nicht da, denn das Haus ist leer und der Garten auch.");
    const auto english = text("The dog and the cat are not here, for the house is empty and so is the garden.");
    FakeTextRecognizer recognizer;
    recognizer.setLanguages({"en-US", "de-DE", "fr-FR"});
    const OCRService service(recognizer, {"en-US"});
    const auto read = [&](std::vector<TextObservation> shown, Codes likely, const char* subject) {
        const auto before = recognizer.requests().size();
        recognizer.setText(std::move(shown));
        service.recognize(picture, {.languages = std::move(likely), .subject = subject});
        std::vector<Codes> used;
        for (auto i = before; i < recognizer.requests().size(); ++i)
            used.push_back(recognizer.requests()[i].languages);
        return used;
    };
    const Codes user{"en-US"}, both{"de-DE", "en-US"};
    EXPECT_EQ(read(english, {}, "paper"), std::vector<Codes>{user});
    EXPECT_EQ(read(german, {}, "paper"), (std::vector{user, both})) << "once more, in its language";
    EXPECT_EQ(read(german, {}, "paper"), std::vector<Codes>{both}) << "which is in use from then on";
    EXPECT_EQ(read(text("12 40 81"), {}, "paper"), std::vector<Codes>{both}) << "numbers tell nothing else";
    EXPECT_EQ(read(english, {}, "other"), std::vector<Codes>{user}) << "there";
    EXPECT_EQ(read(english, {}, "paper"), std::vector<Codes>{both});
    EXPECT_EQ(read(english, {}, "paper"), std::vector<Codes>{user}) << "not any more";
    EXPECT_EQ(read(german, {"de-AT"}, "page"), std::vector<Codes>{both}) << "the page says so";
    EXPECT_EQ(read(english, {"ru", "x", ""}, "page 2"), std::vector<Codes>{user}) << "not installed";

    // No time for a second reading: nothing of the first is kept, and the next one is in the right language.
    recognizer.setText(german);
    recognizer.setReading([&](const TextRequest&) { return TextResult{german, false}; });
    const auto reading = service.recognize(picture, {.subject = "slow"});
    EXPECT_FALSE(reading.isComplete);
    EXPECT_TRUE(reading.observations.empty());
    service.recognize(picture, {.subject = "slow"});
    EXPECT_EQ(recognizer.requests().back().languages, both);
}

TEST(OCRService, ReadsTheFrontWindowCountedFromTheBottom) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN(), infinite = std::numeric_limits<double>::infinity();
    using Region = std::optional<RelativeRect>;
    const struct {
        const char* name;
        Region focus, region;
    } rows[] = {
        {"none", std::nullopt, std::nullopt},
        {"a window", RelativeRect{0.1, 0.2, 0.5, 0.3}, RelativeRect{0.1, 0.5, 0.5, 0.3}},
        {"a little wider", RelativeRect{0.5, 0.5, 0.0501, 0.5}, RelativeRect{0.5, 0, 0.0501, 0.5}},
        {"beyond the corner", RelativeRect{0.9, 0.9, 0.5, 0.5}, RelativeRect{0.9, 0, 0.1, 0.1}},
        {"a sliver is left", RelativeRect{0.96, 0.1, 0.5, 0.5}, std::nullopt},
        {"left of the display", RelativeRect{-0.2, 0, 0.5, 0.5}, RelativeRect{0, 0.5, 0.5, 0.5}},
        {"above it", RelativeRect{0, -0.2, 0.5, 1.5}, RelativeRect{0, 0, 0.5, 1}},
        {"below it", RelativeRect{0, 1.1, 0.5, 0.5}, std::nullopt},
        {"the whole", RelativeRect::full(), RelativeRect::full()},
        {"no number", RelativeRect{nan, 0, 0.5, 0.5}, std::nullopt},
        {"endless", RelativeRect{0, 0, infinite, infinite}, RelativeRect::full()},
    };
    FakeTextRecognizer recognizer;
    const OCRService service(recognizer, {});
    for (const auto& row : rows) {
        service.recognize(picture, row.focus);
        const Region region = recognizer.requests().back().regionOfInterest;
        ASSERT_EQ(region.has_value(), row.region.has_value()) << row.name;
        if (!region) continue;
        EXPECT_NEAR(region->x, row.region->x, 1e-9) << row.name;
        EXPECT_NEAR(region->y, row.region->y, 1e-9) << row.name;
        EXPECT_NEAR(region->width, row.region->width, 1e-9) << row.name;
        EXPECT_NEAR(region->height, row.region->height, 1e-9) << row.name;
        EXPECT_GE(region->y, 0) << row.name;
    }
}

TEST(OCRService, WhatIsStoppedOrFailsIsToldApart) {
    FakeTextRecognizer recognizer;
    recognizer.setText({FakeTextRecognizer::piece("one", {0, 0.8, 1, 0.1}), FakeTextRecognizer::piece("two", {})});
    const OCRService service(recognizer, {});
    int asked = 0;
    const auto stopped =
        service.recognize(picture, std::nullopt, TextRequest::Urgency::later, [&] { return ++asked > 1; });
    EXPECT_EQ(OCRService::lines(stopped.observations), Codes{"one"}) << "what was read by then is kept";
    EXPECT_FALSE(stopped.isComplete);
    EXPECT_FALSE(stopped.failed);
    EXPECT_EQ(recognizer.requests().back().urgency, TextRequest::Urgency::later);
    recognizer.setReading([](const TextRequest&) -> TextResult { throw std::bad_alloc(); });
    const auto failed = service.recognize(picture, std::nullopt);
    EXPECT_TRUE(failed.failed);
    EXPECT_TRUE(failed.isComplete) << "another try wouldn't bring more";
}

TEST(OCRService, ShowsWhereWordsStand) {
    const RelativeRect line{0.1, 0.5, 0.4, 0.1};
    const auto piece = [&](const char* text, bool withSymbols = true) {
        auto made = FakeTextRecognizer::piece(text, line);
        if (!withSymbols) made.symbols.clear();
        return made;
    };
    // "Déjà vu": each of the seven characters as wide as the others, the accented ones of two bytes.
    TextObservation accented{.text = "Déjà vu", .confidence = 0.1, .box = {0, 0, 0.7, 1}, .symbols = {}};
    std::size_t offset = 0;
    for (int i = 0; i < 7; ++i) {
        const std::size_t length = i == 1 || i == 3 ? 2 : 1;
        accented.symbols.push_back({offset, length, {i * 0.1, 0, 0.1, 1}});
        offset += length;
    }
    const struct {
        const char* name;
        Codes terms;
        TextObservation observation;
        std::vector<RelativeRect> boxes;
    } rows[] = {
        {"twice", {"ab"}, piece("abcdabcd"), {{0.1, 0.5, 0.1, 0.1}, {0.3, 0.5, 0.1, 0.1}}},
        {"the longer one claims its place", {"bc", "ABCD"}, piece("abcdxxxx"), {{0.1, 0.5, 0.2, 0.1}}},
        {"folded, behind letters of two bytes", {"VU"}, accented, {{0.5, 0, 0.2, 1}}},
        {"folded itself", {"deja"}, accented, {{0, 0, 0.4, 1}}},
        {"where isn't known", {"bc"}, piece("abcdabcd", false), {line, line}},
        {"one letter", {"a", " ", "é"}, piece("abcdabcd"), {}},
        {"not there", {"xyz"}, piece("abcdabcd"), {}},
        {"given twice", {"cda", "CDA"}, piece("abcdabcd"), {{0.2, 0.5, 0.15, 0.1}}},
    };
    FakeTextRecognizer recognizer;
    const OCRService service(recognizer, {});
    for (const auto& row : rows) {
        recognizer.setText({row.observation});
        const auto boxes = service.boxes(row.terms, picture);
        ASSERT_EQ(boxes.size(), row.boxes.size()) << row.name;
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            EXPECT_NEAR(boxes[i].x, row.boxes[i].x, 1e-9) << row.name;
            EXPECT_NEAR(boxes[i].y, row.boxes[i].y, 1e-9) << row.name;
            EXPECT_NEAR(boxes[i].width, row.boxes[i].width, 1e-9) << row.name;
            EXPECT_NEAR(boxes[i].height, row.boxes[i].height, 1e-9) << row.name;
        }
    }
    const std::size_t before = recognizer.requests().size();
    EXPECT_TRUE(service.boxes({"a", ""}, picture).empty());
    EXPECT_EQ(recognizer.requests().size(), before) << "an image was read for nothing";
}

} // namespace
} // namespace nomara
