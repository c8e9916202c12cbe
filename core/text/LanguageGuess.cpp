#include "core/text/LanguageGuess.h"

#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <set>

namespace nomara::LanguageGuess {

namespace {

struct Language {
    const char* code;
    std::string_view words;      ///< folded, each between spaces
    std::u32string_view letters; ///< that few others have
};

// Words that several languages share say little; each language has enough that are its own.
constexpr std::array<Language, 17> languages{{
    {"en", " the and of to is in that for with this you are not have be from was ", U""},
    {"de", " und der die das nicht ist ein eine mit auf fur sich von den dem auch wird werden oder zu im ", U"ßäöü"},
    {"fr", " le les des et est une dans pour que qui pas sur avec du vous nous sont cette plus ", U"çœêèâîûù"},
    {"es", " el los las del que es una por con para se no como su mas pero esta y ", U"ñ¿¡"},
    {"it", " il gli di che una per con non sono della del nel alla anche piu questo ", U""},
    {"pt", " os uma que nao para com por mais dos das como em ao voce foi ", U"ãõ"},
    {"nl", " het een van en dat niet zijn voor met op te aan wordt ook maar bij ", U""},
    {"sv", " och att det som en inte ar pa av med den till ett har jag ", U"å"},
    {"da", " og det at ikke er en til pa af med som den har der et ", U"øæ"},
    {"nb", " og det ikke er en til pa av med som den har et jeg ", U"øæ"},
    {"fi", " ja on ei se etta han oli mutta myos kun tai ovat ", U""},
    {"pl", " i w nie sie na z do jest to ze o jak po za od przez ", U"łąężźśćń"},
    {"cs", " a se na je v ze to s z do o jako by ale ktery pro ", U"ěřů"},
    {"hu", " a az es hogy nem egy is meg van ez volt de csak ", U"őű"},
    {"ro", " si in la de cu nu este care pe din mai pentru sunt ", U"șțăţş"},
    {"tr", " ve bir bu icin ile de da cok daha gibi olarak ama degil ne var ", U"ğışİ"},
    {"vi", " la va cua co khong duoc cho trong mot nhung cac ", U"ơưđ"},
}};

struct Script {
    const char* code;
    char32_t first, last;
};
constexpr std::array<Script, 10> scripts{{
    {"ru", 0x400, 0x4FF},
    {"el", 0x370, 0x3FF},
    {"he", 0x590, 0x5FF},
    {"ar", 0x600, 0x6FF},
    {"hi", 0x900, 0x97F},
    {"th", 0xE00, 0xE7F},
    {"ka", 0x10A0, 0x10FF},
    {"ja", 0x3040, 0x30FF}, // before the signs that Chinese has as well
    {"zh", 0x4E00, 0x9FFF},
    {"ko", 0xAC00, 0xD7AF},
}};

// Of another script a line is enough; a name in it isn't.
constexpr std::size_t fewestLetters = 8;
// Three sentences, about. Of all words a quarter are small ones; half of them may be misread, and half of the text be
// in another language.
constexpr std::size_t fewestSigns = 6, fewestWords = 3;
constexpr double smallWords = 0.06;
// Its neighbours share words with a language.
constexpr double nearlyAsMany = 0.75;

struct Found {
    std::string code;
    std::size_t signs = 0;
};

} // namespace

std::vector<std::string> of(std::string_view text) {
    std::array<std::size_t, languages.size()> signs{};
    std::array<std::size_t, scripts.size()> letters{};
    for (const std::string_view cluster : Graphemes::split(text)) {
        const char32_t letter = Graphemes::firstScalar(cluster);
        if (letter < 0x80) continue;
        for (std::size_t i = 0; i < languages.size(); ++i)
            if (languages[i].letters.find(letter) != std::u32string_view::npos) ++signs[i];
        for (std::size_t i = 0; i < scripts.size(); ++i)
            if (letter >= scripts[i].first && letter <= scripts[i].last) ++letters[i];
    }
    const auto words = TextNormalizer::tokens(text);
    std::array<std::set<std::string>, languages.size()> distinct;
    for (const std::string& word : words)
        for (std::size_t i = 0; i < languages.size(); ++i)
            if (languages[i].words.find(' ' + word + ' ') != std::string_view::npos) {
                ++signs[i];
                distinct[i].insert(word);
            }

    std::vector<Found> found;
    const auto fewest = std::max(fewestSigns, static_cast<std::size_t>(smallWords * static_cast<double>(words.size())));
    for (std::size_t i = 0; i < languages.size(); ++i)
        if (signs[i] >= fewest && distinct[i].size() >= fewestWords) found.push_back({languages[i].code, signs[i]});
    std::ranges::stable_sort(found, std::ranges::greater(), &Found::signs);
    std::vector<std::string> codes;
    for (const Found& each : found)
        if (static_cast<double>(each.signs) >= nearlyAsMany * static_cast<double>(found.front().signs))
            codes.push_back(each.code);
    for (std::size_t i = 0; i < scripts.size(); ++i) {
        const std::string code = scripts[i].code;
        const bool isWrittenSo = letters[i] >= fewestLetters && (code != "zh" || letters[i - 1] < fewestLetters);
        if (isWrittenSo) codes.push_back(code);
    }
    return codes;
}

} // namespace nomara::LanguageGuess
